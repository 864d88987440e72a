#pragma once

#include <qk/mutex.h>

#include <atomic>
#include <functional>
#include <string>

#include "tovik/visibility.h"

namespace tovik {

/// The functions that threads have handed to one worker and wait for, and that worker's own waits for other workers.
///
/// A handler is whole: while its worker waits for another one, it runs only the calls of workers that it waits for,
/// directly or through others. Those have to run, or each would wait for the other forever. Every other call runs
/// between two handlers.
///
/// Threads: call, callWithin, pass, awaitEnd and isCurrent by any thread; open and close by the owner; the rest on the
///          worker.
class TOVIK_API WorkerCalls {
 public:
  /// The name appears in the log. wake ends the worker's wait for events; it is called by any thread and never throws.
  WorkerCalls(std::string name, std::function<void()> wake);
  ~WorkerCalls();
  WorkerCalls(const WorkerCalls&) = delete;
  WorkerCalls& operator=(const WorkerCalls&) = delete;

  /// Whether the calling thread is this worker.
  bool isCurrent() const { return current_ == this; }

  /// Runs f on the worker and returns when it has run: at once on the worker itself, and on the calling thread once the
  /// worker has ended. An exception that leaves f reaches the caller. Allocates nothing.
  void call(const std::function<void()>& f);
  /// The same, waiting limit_ms milliseconds at most (-1: until it has run). False when the limit has passed: f, which
  /// is copied, then runs later, and an exception that leaves it is logged.
  bool callWithin(const std::function<void()>& f, int limit_ms);
  /// Waits until the worker is between two handlers, limit_ms milliseconds at most (-1: until it is). False when the
  /// limit has passed. On the worker itself it returns true at once, whatever runs there.
  bool pass(int limit_ms);
  /// Waits until the worker has ended, limit_ms milliseconds at most (-1: until it has). False when the limit has
  /// passed, and at once where waiting cannot succeed: on the worker itself, and inside what it waits for.
  bool awaitEnd(int limit_ms);

  /// Calls wait for the worker's thread from now on, which has still to begin.
  void open();
  /// Undoes open where the thread has not begun.
  void close();

  /// The worker's thread has begun.
  void begin() { current_ = this; }
  /// Whether no call waits to be run.
  bool isEmpty() const { return waiting_.load(std::memory_order_acquire) == 0; }
  /// The number of the newest call; each has a higher one than those before it.
  unsigned long long newest() const;
  /// Runs the oldest call that waits if its number is not higher than that. False when there is none.
  bool runOldest(unsigned long long highestNumber);
  /// Runs the calls that still wait. Then the worker has ended.
  void end();

 private:
  struct Wait;
  struct Call;
  struct DetachedCall;
  enum class State { idle, running, ended };

  bool request(const std::function<void()>& f, bool nests, int limit_ms);
  static bool await(Wait& wait, int limit_ms) QK_REQUIRES(mutex_);
  void add(Call& call) QK_REQUIRES(mutex_);
  Call* takeOldest(unsigned long long highestNumber) QK_REQUIRES(mutex_);
  Call* takeNestable() QK_REQUIRES(mutex_);
  Call* take(Call** link) QK_REQUIRES(mutex_);
  bool hasNestable(const Wait& wait) const QK_REQUIRES(mutex_);
  void beginWait(Wait& wait) QK_REQUIRES(mutex_);
  static void run(Call& call) noexcept QK_EXCLUDES(mutex_);
  static const Wait* waitFor(const WorkerCalls& from, const WorkerCalls& to) QK_REQUIRES(mutex_);
  static const WorkerCalls* targetOf(const WorkerCalls& worker) QK_REQUIRES(mutex_);
  static void logSlowWait(const Wait& wait) noexcept QK_EXCLUDES(mutex_);

  static inline thread_local WorkerCalls* current_ = nullptr;
  static qk::Mutex mutex_;  // of all workers: waits cross them

  const std::string name_;
  const std::function<void()> wake_;
  std::atomic<unsigned long> waiting_{0};  // changed with the mutex held

  Call* first_ QK_GUARDED_BY(mutex_) = nullptr;
  unsigned long long added_ QK_GUARDED_BY(mutex_) = 0;
  Wait* wait_ QK_GUARDED_BY(mutex_) = nullptr;    // what this worker waits for: the innermost of its waits
  Wait* joiner_ QK_GUARDED_BY(mutex_) = nullptr;  // who waits for its end
  State state_ QK_GUARDED_BY(mutex_) = State::idle;
};

}  // namespace tovik
