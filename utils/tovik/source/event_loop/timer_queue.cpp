#include "tovik/timer_queue.h"

namespace tovik {

std::optional<TimerQueue::Time> TimerQueue::next() const {
  return timers_.empty() ? std::nullopt : std::optional(timers_.begin()->first);
}

void TimerQueue::fire(Time now) {
  while (!timers_.empty() && timers_.begin()->first <= now) {
    EventHandler* const handler = timers_.begin()->second;
    timers_.erase(timers_.begin());
    handler->onTimer();
  }
}

}  // namespace tovik
