#pragma once

namespace tovik {

/// Logs the exception that is being handled, at level 30. To be called in a catch block. where: the handler that threw.
void logHandlerException(const char* where) noexcept;

}  // namespace tovik
