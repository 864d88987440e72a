#pragma once

#include "qk/logging/visibility.h"

namespace qk::logging {

/// The importance of a record: a higher number is more important. Numbers between the named levels may be used.
class QK_LOGGING_API LogLevel {
 public:
  /// Converts from any number; negative numbers are below Trace.
  constexpr LogLevel(int number) : number_(number) {}
  /// The number. Levels are compared by it.
  constexpr operator int() const { return number_; }

  static const LogLevel Trace;    ///< 0: every step
  static const LogLevel Debug;    ///< 10
  static const LogLevel Info;     ///< 20
  static const LogLevel Warning;  ///< 30: something is lost or refused; the initial threshold
  static const LogLevel Error;    ///< 40

 private:
  int number_;
};

inline constexpr LogLevel LogLevel::Trace{0};
inline constexpr LogLevel LogLevel::Debug{10};
inline constexpr LogLevel LogLevel::Info{20};
inline constexpr LogLevel LogLevel::Warning{30};
inline constexpr LogLevel LogLevel::Error{40};

/// The threshold: the lowest level whose records are emitted, initially 30. While other threads may log, read it with
/// IsEnabled and set it with SetMinLogLevel; a plain access would be a data race.
QK_LOGGING_API extern int g_minLogLevel;

/// Sets the threshold. Any thread may call it at any time. A log statement that is already running on another thread
/// still uses the old threshold.
QK_LOGGING_API void SetMinLogLevel(LogLevel level);

/// Returns true if records of this level are emitted at present. Any thread may call it.
inline bool IsEnabled(LogLevel level) { return level >= __atomic_load_n(&g_minLogLevel, __ATOMIC_RELAXED); }

}  // namespace qk::logging
