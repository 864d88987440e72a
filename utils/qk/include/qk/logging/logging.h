#pragma once

#include <memory>
#include <ostream>
#include <string>

#include "qk/logging/handlers.h"
#include "qk/logging/log_level.h"
#include "qk/logging/logger.h"
#include "qk/logging/record.h"
#include "qk/logging/visibility.h"

/// A log site:
///
///     QK_LOG(qk::logging::LogLevel::Warning) << "gave up after " << attempts << " attempts";
///
/// Below the threshold it costs one load and one comparison, and no operand is evaluated. Stands wherever an expression
/// statement does, an unbraced if included. The level should have no side effects: it is evaluated once more if
/// emitted.
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
  /// Swallows the finished stream.
  void operator&(std::ostream&) const {}
};

}  // namespace qk::logging
