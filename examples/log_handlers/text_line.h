#pragma once

#include <qk/logging/logging.h>

#include <string>

namespace log_handlers {

/// Formats a record as one line of text:
///
///     2026-11-21T12:00:00.123456Z [30] conduit.cpp:12 text | extra
///
/// Control characters and bytes that aren't UTF-8 are escaped as in \x0a: what a server sends can neither forge a
/// second line nor control a terminal.
std::string textLine(const qk::logging::Record& record);

}  // namespace log_handlers
