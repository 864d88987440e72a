#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace testing_support {

/// How long a test waits for something that must happen. Generous: it is only ever used up by a failure.
inline constexpr std::chrono::seconds deadline{30};

/// For what no event reports: tries again and again until the condition holds; false when the deadline passes first.
template <class Condition>
[[nodiscard]] bool eventually(Condition&& condition) {
  const auto end = std::chrono::steady_clock::now() + deadline;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::yield();
  }
  return true;
}

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
