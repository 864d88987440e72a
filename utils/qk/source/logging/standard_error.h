#pragma once

#include <string_view>

#include "qk/logging/record.h"

namespace qk::logging {

/// The record as one line in one write. Throws std::bad_alloc; then nothing has been written.
void writeToStandardError(const Record& record);

/// A line about the library's own trouble, the detail escaped. Without memory the line says only that.
void complainOnStandardError(std::string_view complaint, std::string_view detail = {}) noexcept;

}  // namespace qk::logging
