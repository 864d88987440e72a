#pragma once

#include <qk/logging/logging.h>

#include <string>

namespace log_handlers {

/// A record as one JSON object on a line of its own, for programs that gather logs:
///
///     {"time":"2026-11-21T12:00:00.123456Z","level":30,"file":"conduit.cpp","line":12,"text":"..."}
///
/// with "source" and "extra" where the record has them. The line is valid JSON and UTF-8 whatever the record holds:
/// each byte that is no part of a well-formed sequence becomes U+FFFD.
std::string jsonLine(const qk::logging::Record& record);

}  // namespace log_handlers
