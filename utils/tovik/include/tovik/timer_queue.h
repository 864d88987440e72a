#pragma once

#include <map>
#include <optional>

#include "tovik/clock.h"
#include "tovik/event_handler.h"
#include "tovik/visibility.h"

namespace tovik {

/// The timers of one worker. The caller passes the current time.
///
/// Threads:   the worker's only.
/// Ownership: borrows the handlers; a handler cancels its timers before it is destroyed.
class TOVIK_API TimerQueue {
 public:
  /// A point in time of the worker's clock.
  using Time = Clock::Time;
  /// Sorted by deadline.
  using Timers = std::multimap<Time, EventHandler*>;
  /// Identifies a timer to cancel.
  using Id = Timers::iterator;

  /// Calls the handler's onTimer once, when the deadline has passed.
  Id add(Time deadline, EventHandler& handler) { return timers_.emplace(deadline, &handler); }
  /// REQUIRES: the timer has neither fired nor been cancelled.
  void cancel(Id id) { timers_.erase(id); }
  /// The earliest deadline; empty if there is no timer.
  std::optional<Time> next() const;
  /// Calls onTimer for each deadline that is not later than now. A timer is removed before the call.
  void fire(Time now);

 private:
  Timers timers_;
};

}  // namespace tovik
