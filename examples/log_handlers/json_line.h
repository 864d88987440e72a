#pragma once

#include <qk/logging/logging.h>

#include <string>

namespace log_handlers {

/// Formats a record as one JSON object on one line, for programs that collect logs:
///
///     {"time":"2026-11-21T12:00:00.123456Z","level":30,"file":"conduit.cpp","line":12,"text":"..."}
///
/// with "source" and "extra" if the record has them. The line is always valid JSON and UTF-8: each byte that is not
/// part of a well-formed UTF-8 sequence becomes U+FFFD.
std::string jsonLine(const qk::logging::Record& record);

}  // namespace log_handlers
