#pragma once

#include <chrono>

#include "tovik/visibility.h"

namespace tovik {

/// The time that the deadlines and limits of a worker's connections go by. What blocks a thread (WorkerThread::join, a
/// call or a stop with a limit, Server::waitForConnection) goes by the steady clock, whatever the worker's is.
///
/// Threads:   any.
/// Ownership: whoever gives a clock to a worker keeps it until that worker has been destroyed.
class TOVIK_API Clock {
 public:
  /// A moment, by whichever clock.
  using Time = std::chrono::steady_clock::time_point;

  /// The system's monotonic clock: what a worker goes by unless it is given another. Never destroyed.
  static Clock& steady();

  Clock(const Clock&) = delete;
  Clock& operator=(const Clock&) = delete;

  /// Never before what it has returned already.
  virtual Time now() = 0;
  /// How many milliseconds a thread sleeps to wake when the deadline has come, not before: 0 when it has, -1 on a clock
  /// that does not run by itself. Who moves such a clock then gives each worker a turn (WorkerThread::call).
  virtual int millisecondsUntil(Time deadline) = 0;

 protected:
  constexpr Clock() = default;
  // Nobody destroys one that is borrowed; and the steady clock, without anything to destroy, serves while the program
  // exits.
  ~Clock() = default;
};

}  // namespace tovik
