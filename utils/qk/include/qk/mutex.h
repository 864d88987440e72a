#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "qk/logging/visibility.h"
#include "qk/thread_annotations.h"

namespace qk {

/// std::mutex with the annotations of clang's thread safety analysis. Its constructor is constexpr and its destructor
/// does nothing, so a mutex with static storage can be used until the process ends.
class QK_CAPABILITY QK_LOGGING_API Mutex {
 public:
  constexpr Mutex() = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  /// Waits until no other thread holds the mutex. REQUIRES: the caller does not hold it.
  void lock() QK_ACQUIRE() { native_.lock(); }
  /// REQUIRES: the caller holds the mutex.
  void unlock() QK_RELEASE() { native_.unlock(); }

 private:
  friend class ConditionVariable;
  std::mutex native_;
};

/// Holds a mutex while it exists, except between unlock and lock.
class QK_SCOPED_CAPABILITY QK_LOGGING_API MutexLock {
 public:
  /// Waits for the mutex, which must outlive this object.
  explicit MutexLock(Mutex& mutex) QK_ACQUIRE(mutex) : lock_(mutex) {}
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;
  ~MutexLock() QK_RELEASE() = default;

  /// Waits for the mutex again. REQUIRES: unlock was called.
  void lock() QK_ACQUIRE() { lock_.lock(); }
  /// Releases the mutex before the end of the scope.
  void unlock() QK_RELEASE() { lock_.unlock(); }

 private:
  std::unique_lock<Mutex> lock_;
};

/// A condition variable for a Mutex. A wait releases the mutex and holds it again when it returns. It may return
/// without a notification.
class QK_LOGGING_API ConditionVariable {
 public:
  /// Wakes one waiting thread.
  void notify_one() noexcept { native_.notify_one(); }
  /// Wakes all waiting threads.
  void notify_all() noexcept { native_.notify_all(); }

  /// Waits for a notification.
  void wait(Mutex& mutex) QK_REQUIRES(mutex) {
    std::unique_lock lock(mutex.native_, std::adopt_lock);
    native_.wait(lock);
    lock.release();
  }
  /// Waits for a notification, or until the time `end`. Returns false if that time has been reached.
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
