#pragma once

#include <string_view>

#include "qk/logging/record.h"

namespace qk::logging {

/// Writes the record as one line, in one write. Throws std::bad_alloc; nothing is written then.
void writeToStandardError(const Record& record);

/// Writes a line about a failure of the library itself, with the detail escaped. Out of memory, the line says only
/// that.
void complainOnStandardError(std::string_view complaint, std::string_view detail = {}) noexcept;

}  // namespace qk::logging
