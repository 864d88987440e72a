#include "values/handler_exception.h"

#include <qk/logging/logging.h>

#include <exception>

namespace tovik {

void logHandlerException(const char* where) noexcept {
  try {
    throw;
  } catch (const std::exception& error) {
    QK_LOG(qk::logging::LogLevel::Warning) << "Tovik: " << where << ": exception in a handler: " << error.what();
  } catch (...) {
    QK_LOG(qk::logging::LogLevel::Warning) << "Tovik: " << where << ": exception in a handler";
  }
}

}  // namespace tovik
