#pragma once

#include <qk/mutex.h>

#include <atomic>
#include <functional>
#include <string>

#include "tovik/visibility.h"

namespace tovik {

/// The calls that threads make to one worker and wait for, and that worker's own waits for other workers.
///
/// While a worker waits inside a handler, it runs only calls made by workers that it waits for, directly or through
/// others. Otherwise two workers that call each other would wait forever. All other calls run between two handlers.
///
/// Threads: call, callWithin, pass, awaitEnd and isCurrent by any thread; open and close by the owner; the rest on the
///          worker.
class TOVIK_API WorkerCalls {
 public:
  /// The name is for logs. wake ends the worker's wait for events; any thread may call it, and it never throws.
  WorkerCalls(std::string name, std::function<void()> wake);
  ~WorkerCalls();
  WorkerCalls(const WorkerCalls&) = delete;
  WorkerCalls& operator=(const WorkerCalls&) = delete;

  /// Whether the calling thread is this worker.
  bool isCurrent() const { return current_ == this; }

  /// Runs f on the worker and returns when it has run. Runs f at once on the worker itself, and on the calling thread
  /// after the worker has ended. An exception that leaves f is passed to the caller. Allocates nothing.
  void call(const std::function<void()>& f);
  /// The same, but waits for at most limit_ms milliseconds (-1: without limit). False if the limit has passed: a copy
  /// of f then runs later, and an exception that leaves it is logged.
  bool callWithin(const std::function<void()>& f, int limit_ms);
  /// Waits until the worker is between two handlers, for at most limit_ms milliseconds (-1: without limit). False if
  /// the limit has passed. Returns true at once on the worker itself.
  bool pass(int limit_ms);
  /// Waits until the worker has ended, for at most limit_ms milliseconds (-1: without limit). Returns false if the
  /// limit has passed, and at once if waiting cannot succeed: on the worker itself, and inside a call that the worker
  /// is waiting for.
  bool awaitEnd(int limit_ms);

  /// From now on calls wait for the worker's thread, which is about to start.
  void open();
  /// Undoes open if the thread could not be started.
  void close();

  /// The worker's thread has started.
  void begin() { current_ = this; }
  /// Whether no call is waiting.
  bool isEmpty() const { return waiting_.load(std::memory_order_acquire) == 0; }
  /// The number of the newest call. Calls are numbered in order.
  unsigned long long newest() const;
  /// Runs the oldest waiting call if its number is not higher than highestNumber. False if there is none.
  bool runOldest(unsigned long long highestNumber);
  /// Runs the calls that are still waiting. Afterwards the worker has ended.
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
  static qk::Mutex mutex_;  // one for all workers: a wait involves two

  const std::string name_;
  const std::function<void()> wake_;
  std::atomic<unsigned long> waiting_{0};  // changed with the mutex held

  Call* first_ QK_GUARDED_BY(mutex_) = nullptr;
  unsigned long long added_ QK_GUARDED_BY(mutex_) = 0;
  Wait* wait_ QK_GUARDED_BY(mutex_) = nullptr;    // the innermost of this worker's waits
  Wait* joiner_ QK_GUARDED_BY(mutex_) = nullptr;  // the wait for this worker's end
  State state_ QK_GUARDED_BY(mutex_) = State::idle;
};

}  // namespace tovik
