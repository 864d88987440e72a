#pragma once

#include <chrono>
#include <string>

namespace log_handlers {

/// A time such as 2026-11-21T12:00:00.123456Z: in UTC, so that logs of several machines can be merged.
std::string timeText(std::chrono::system_clock::time_point time);

}  // namespace log_handlers
