#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "qk/logging/visibility.h"
#include "qk/thread_annotations.h"

namespace qk {

/// The standard mutex, known to clang's thread safety analysis. Constant-initialised, and its destructor does nothing:
/// one with static storage serves until the process has ended.
class QK_CAPABILITY QK_LOGGING_API Mutex {
 public:
  constexpr Mutex() = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  /// Waits until no other thread holds it. The caller does not hold it.
  void lock() QK_ACQUIRE() { native_.lock(); }
  /// The caller holds it.
  void unlock() QK_RELEASE() { native_.unlock(); }

 private:
  friend class ConditionVariable;
  std::mutex native_;
};

/// Holds a mutex while it lives, but for the time between unlock and lock.
class QK_SCOPED_CAPABILITY QK_LOGGING_API MutexLock {
 public:
  /// Waits for the mutex, which outlives the lock.
  explicit MutexLock(Mutex& mutex) QK_ACQUIRE(mutex) : lock_(mutex) {}
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;
  ~MutexLock() QK_RELEASE() = default;

  /// Only after unlock.
  void lock() QK_ACQUIRE() { lock_.lock(); }
  /// Releases the mutex early.
  void unlock() QK_RELEASE() { lock_.unlock(); }

 private:
  std::unique_lock<Mutex> lock_;
};

/// The standard condition variable for a Mutex. A wait releases the mutex and holds it again when it returns; it may
/// return without any notification.
class QK_LOGGING_API ConditionVariable {
 public:
  /// Wakes one thread that waits.
  void notify_one() noexcept { native_.notify_one(); }
  /// Wakes all of them.
  void notify_all() noexcept { native_.notify_all(); }

  /// Waits for a notification.
  void wait(Mutex& mutex) QK_REQUIRES(mutex) {
    std::unique_lock lock(mutex.native_, std::adopt_lock);
    native_.wait(lock);
    lock.release();
  }
  /// The same, and no longer than until then. False once that time has come.
  template <class Clock, class Duration>
  bool wait_until(Mutex& mutex, const std::chrono::time_point<Clock, Duration>& end) QK_REQUIRES(mutex) {
    std::unique_lock lock(mutex.native_, std::adopt_lock);
    const bool notified = native_.wait_until(lock, end) == std::cv_status::no_timeout;
    lock.release();
    return notified;
  }

 private:
  std::condition_variable native_;
};

}  // namespace qk
