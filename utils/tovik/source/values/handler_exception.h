#pragma once

namespace tovik {

/// Logs, at level 30, the exception that is being handled: call it in a catch block. where: whose handler it left.
void logHandlerException(const char* where) noexcept;

}  // namespace tovik
