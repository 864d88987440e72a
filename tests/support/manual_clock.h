#pragma once

#include <tovik/clock.h>

#include <atomic>

namespace testing_support {

/// Stands still until a test moves it. Threads: any.
class ManualClock final : public tovik::Clock {
 public:
  using Duration = Time::duration;
  static constexpr Duration tick{1};

  Time now() override { return Time(sinceBegin_.load()); }
  int millisecondsUntil(Time time) override { return time <= now() ? 0 : -1; }

  void advance(Duration by) { sinceBegin_ = sinceBegin_.load() + by; }
  /// The same, and returns when all that is due by then on a worker has happened. worker: a WorkerThread or a
  /// Transport.
  template <class Worker>
  void advance(Duration by, Worker& worker) {
    advance(by);
    // The first call sees the new time, and the timers come after it in its turn; the second is in a later one.
    worker.call([] {});
    worker.call([] {});
  }

 private:
  std::atomic<Duration> sinceBegin_{std::chrono::hours(1)};
};

}  // namespace testing_support
