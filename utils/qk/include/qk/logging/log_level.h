#pragma once

#include "qk/logging/visibility.h"

namespace qk::logging {

/// How much a record matters: the higher the number, the more. The named levels leave room between them.
class QK_LOGGING_API LogLevel {
 public:
  /// Any number, implicitly; negative ones are below Trace.
  constexpr LogLevel(int number) : number_(number) {}
  /// The number, by which levels compare.
  constexpr operator int() const { return number_; }

  static const LogLevel Trace;    ///< 0: every step
  static const LogLevel Debug;    ///< 10
  static const LogLevel Info;     ///< 20
  static const LogLevel Warning;  ///< 30: something is lost or refused; the threshold at first
  static const LogLevel Error;    ///< 40

 private:
  int number_;
};

inline constexpr LogLevel LogLevel::Trace{0};
inline constexpr LogLevel LogLevel::Debug{10};
inline constexpr LogLevel LogLevel::Info{20};
inline constexpr LogLevel LogLevel::Warning{30};
inline constexpr LogLevel LogLevel::Error{40};

/// The lowest level whose records are emitted; 30 at first. Read it with IsEnabled and write it with SetMinLogLevel
/// where other threads may log: a plain access then races with theirs.
QK_LOGGING_API extern int g_minLogLevel;

/// Any thread, at any time. Sites that another thread has already entered still emit by the old threshold.
QK_LOGGING_API void SetMinLogLevel(LogLevel level);

/// Whether a site of this level emits at present. Any thread.
inline bool IsEnabled(LogLevel level) { return level >= __atomic_load_n(&g_minLogLevel, __ATOMIC_RELAXED); }

}  // namespace qk::logging
