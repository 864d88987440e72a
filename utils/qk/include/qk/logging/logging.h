#pragma once

#include <memory>
#include <ostream>
#include <string>

#include "qk/logging/handlers.h"
#include "qk/logging/log_level.h"
#include "qk/logging/logger.h"
#include "qk/logging/record.h"
#include "qk/logging/visibility.h"

/// Logs one record:
///
///     QK_LOG(qk::logging::LogLevel::Warning) << "gave up after " << attempts << " attempts";
///
/// Below the threshold it costs one load and one comparison, and evaluates no operand. It can be used wherever an
/// expression statement can, including an if without braces. The level should have no side effects: it is evaluated a
/// second time if the record is emitted.
#define QK_LOG(level)                                                                                              \
  !::qk::logging::IsEnabled(level)                                                                                 \
      ? static_cast<void>(0)                                                                                       \
      : ::qk::logging::Voidify() & ::qk::logging::Logger((level), 0, 1,                                            \
                                                         std::shared_ptr<const ::qk::logging::Source>(), __FILE__, \
                                                         __LINE__, std::string())                                  \
                                       .stream()

namespace qk::logging {

/// Gives both branches of QK_LOG the type void; its operator binds less tightly than << and more tightly than ?:.
struct QK_LOGGING_API Voidify {
  /// Discards the result of the last <<.
  void operator&(std::ostream&) const {}
};

}  // namespace qk::logging
