#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace testing_support {

/// How long a test waits for something that must happen. Generous: it is only ever used up by a failure.
inline constexpr std::chrono::seconds deadline{30};

/// A value that one thread changes and another waits for.
template <class Value>
class Awaited {
 public:
  /// Applies a change under the lock and wakes whoever waits.
  template <class Change>
  void change(Change&& change) {
    const std::lock_guard lock(mutex_);
    change(value_);
    changed_.notify_all();
  }

  /// Waits until the condition holds for the value; false when the deadline passes first.
  template <class Condition>
  [[nodiscard]] bool waitUntil(Condition&& condition) const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, deadline, [&] { return condition(value_); });
  }

  Value get() const {
    const std::lock_guard lock(mutex_);
    return value_;
  }

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  Value value_{};
};

}  // namespace testing_support
