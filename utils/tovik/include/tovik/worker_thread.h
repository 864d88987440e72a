#pragma once

#include <qk/mutex.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tovik/buffer.h"
#include "tovik/clock.h"
#include "tovik/connection_counters.h"
#include "tovik/descriptor.h"
#include "tovik/event_handler.h"
#include "tovik/result.h"
#include "tovik/thread.h"
#include "tovik/timer_queue.h"
#include "tovik/visibility.h"
#include "tovik/worker_calls.h"
#include "tovik/worker_statistics.h"

namespace tovik {

/// One event loop on one thread: descriptors, turns and timers. What they mean is up to the handlers.
///
/// Threads: start, join and the destructor by one owner at a time; stop, schedule, post, call, callWithin, pass,
///          isCurrent, watchArrivals, unwatch, now, bytesReceived and statistics by any thread; the rest on the worker.
/// Errors:  an exception that leaves a handler is logged at level 30, and the loop continues.
class TOVIK_API WorkerThread : private Thread {
 public:
  /// Runs nothing before start. The clock must outlive the worker.
  explicit WorkerThread(const std::string& name, Clock& clock = Clock::steady());
  ~WorkerThread() override;

  Result start() override;
  void stop() override;
  /// Waits until the thread has ended, for at most limit_ms milliseconds (-1: without limit). Returns false if the
  /// limit has passed, and at once if waiting cannot succeed: on the worker itself, and inside a call that the worker
  /// is waiting for.
  bool join(int limit_ms) override;

  /// Whether the calling thread is this worker.
  bool isCurrent() const { return calls_.isCurrent(); }
  /// Debug builds end the program with a message that names both threads if the calling thread is not this worker.
  void requireCurrent() const;

  /// Calls the handler's onReady(0) in a later turn of the loop. Handlers are called in the order of the requests;
  /// further requests for a handler that has not been called yet have no effect. A worker that has ended drops the
  /// handler. Allocates nothing.
  void schedule(std::shared_ptr<EventHandler> handler) noexcept;
  /// Runs a function on the worker in a later turn.
  void post(std::function<void()> task);
  /// Runs f on the worker, between two handlers, and returns when it has run; on the worker itself runs it at once. An
  /// exception that leaves f is passed to the caller. A worker that waits here runs, inside its own handler, only
  /// calls made by workers that it waits for: see WorkerCalls. Allocates nothing.
  void call(const std::function<void()>& f) { calls_.call(f); }
  /// The same, but waits for at most limit_ms milliseconds. False if the limit has passed; a copy of f then runs later.
  bool callWithin(const std::function<void()>& f, int limit_ms) { return calls_.callWithin(f, limit_ms); }
  /// Waits until the handler that is running has returned, for at most limit_ms milliseconds (-1: without limit). False
  /// if the limit has passed. Returns true at once on the worker itself.
  bool pass(int limit_ms) { return calls_.pass(limit_ms); }

  /// Calls the handler whenever the descriptor's readiness changes (edge-triggered), until `unwatch`. The handler must
  /// exist until it is passed to `retainUntilTurnEnd`.
  Result watch(int descriptor, EventHandler& handler);
  /// The same, but without a call when the descriptor becomes writable.
  Result watchInput(int descriptor, EventHandler& handler);
  /// Turns a watchInput into a watch.
  Result watchOutput(int descriptor, EventHandler& handler);
  /// Calls the handler in every turn in which the descriptor has input (level-triggered), until `unwatch`. The handler
  /// must exist until a turn that was requested after `unwatch` has started. Any thread.
  Result watchArrivals(int descriptor, EventHandler& handler);
  /// Must be called before the descriptor is closed. Any thread.
  void unwatch(int descriptor);
  /// The timers of the worker's handlers.
  TimerQueue& timers() { return timers_; }
  /// Keeps a handler that has ended until the turn is over: events of this turn may still call it.
  void retainUntilTurnEnd(std::shared_ptr<EventHandler> handler) noexcept;

  /// The buffer that the worker's connections receive into. Its bytes are valid until the running handler returns.
  Buffer receiveBuffer();
  /// When the running handler started. Does not read the clock.
  Clock::Time handlerStart() const { return handlerStart_; }
  /// The time of the worker's clock.
  Clock::Time now() const { return clock_.now(); }
  /// The sum of the counters of its transports.
  ConnectionCounters& connections() { return connections_; }

  /// The bytes received on all connections that this worker has ever served.
  unsigned long long bytesReceived() const { return connections_.read().bytes_in; }
  /// Statistics since the worker was made. Never waits.
  WorkerStatistics statistics() const;

 private:
  /// Handlers in the order of their requests, linked intrusively so that a request allocates nothing.
  struct Chain {
    std::shared_ptr<EventHandler> first;
    EventHandler* last = nullptr;
  };

  void run(const volatile bool& stopping) override;
  void turn();
  void runCalls();
  int waitLimit();
  void runScheduled();
  void dropScheduled();
  static void releaseChain(std::shared_ptr<EventHandler> first, std::shared_ptr<EventHandler> EventHandler::*next);
  void wake();
  void noteWakeUp();
  void noteHandlerEnd();
  template <class Task>
  void guarded(Task&& task) noexcept;

  Clock& clock_;

  Descriptor epoll_;
  Descriptor wakeUp_;

  qk::Mutex mutex_;
  Chain scheduled_ QK_GUARDED_BY(mutex_);
  bool takesTurns_ QK_GUARDED_BY(mutex_) = true;  // false once it has ended

  WorkerCalls calls_;
  TimerQueue timers_;
  std::vector<char> receiveStorage_;
  std::shared_ptr<EventHandler> retained_;  // linked intrusively: ending a connection must not need memory
  Clock::Time handlerStart_;

  // Written by the worker only, read by any thread.
  ConnectionCounters connections_;
  std::atomic<unsigned long long> wakeUps_{0};
  std::atomic<std::chrono::nanoseconds> longestHandler_{std::chrono::nanoseconds(0)};
};

}  // namespace tovik
