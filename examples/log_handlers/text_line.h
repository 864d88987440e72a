#pragma once

#include <qk/logging/logging.h>

#include <string>

namespace log_handlers {

/// A record as a line for people:
///
///     2026-11-21T12:00:00.123456Z [30] conduit.cpp:12 text | extra
///
/// Control characters and bytes that aren't UTF-8 appear as \x0a and the like: what a server sends can neither fake a
/// second line nor drive the terminal that shows the file.
std::string textLine(const qk::logging::Record& record);

}  // namespace log_handlers
