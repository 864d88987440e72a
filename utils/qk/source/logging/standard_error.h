#pragma once

#include <string_view>

#include "qk/logging/record.h"

namespace qk::logging {

/// Writes the record as one line, in one write. If memory runs out, writes nothing and throws std::bad_alloc.
void writeToStandardError(const Record& record);

/// Writes a line about a failure of the library itself, with the detail escaped. If memory runs out, the line says only
/// that.
void complainOnStandardError(std::string_view complaint, std::string_view detail = {}) noexcept;

}  // namespace qk::logging
