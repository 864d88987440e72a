#pragma once

#include <map>
#include <optional>

#include "tovik/clock.h"
#include "tovik/event_handler.h"
#include "tovik/visibility.h"

namespace tovik {

/// The deadlines of one worker. Time is handed in, so that a test can move it.
///
/// Threads:   the worker's only.
/// Ownership: borrows the handlers; a handler cancels its timers before it goes.
class TOVIK_API TimerQueue {
 public:
  /// A moment of the worker's clock.
  using Time = Clock::Time;
  /// In order of time.
  using Timers = std::multimap<Time, EventHandler*>;
  /// What a timer is cancelled by.
  using Id = Timers::iterator;

  /// The handler's onTimer will be called once.
  Id add(Time deadline, EventHandler& handler) { return timers_.emplace(deadline, &handler); }
  /// Valid once, and not after the timer has fired.
  void cancel(Id id) { timers_.erase(id); }
  /// The earliest deadline; empty when there is none.
  std::optional<Time> next() const;
  /// Calls onTimer for each deadline that is not later than now; a timer is gone before it is called.
  void fire(Time now);

 private:
  Timers timers_;
};

}  // namespace tovik
