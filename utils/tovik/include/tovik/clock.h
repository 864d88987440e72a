#pragma once

#include <chrono>

#include "tovik/visibility.h"

namespace tovik {

/// The clock of a worker: its timers and the time limits of its connections use it. Waits that block a thread
/// (WorkerThread::join, a call or a stop with a limit, Server::waitForConnection) always use the steady clock.
///
/// Threads:   any.
/// Ownership: a clock must outlive the workers that use it.
class TOVIK_API Clock {
 public:
  /// A point in time.
  using Time = std::chrono::steady_clock::time_point;

  /// The system's monotonic clock, which is the default. Never destroyed.
  static Clock& steady();

  Clock(const Clock&) = delete;
  Clock& operator=(const Clock&) = delete;

  /// The current time. Never earlier than a time that it has returned before.
  virtual Time now() = 0;
  /// How many milliseconds a thread must sleep so that it does not wake before the deadline; 0 if the deadline has
  /// passed, -1 for a clock that does not run by itself. After advancing such a clock, let each worker run a turn
  /// (WorkerThread::call).
  virtual int millisecondsUntil(Time deadline) = 0;

 protected:
  constexpr Clock() = default;
  // Trivial, so that the steady clock can be used while the program exits.
  ~Clock() = default;
};

}  // namespace tovik
