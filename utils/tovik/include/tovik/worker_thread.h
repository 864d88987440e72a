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

/// One event loop on one thread. It knows descriptors, turns and timers; what they mean is its handlers' affair.
///
/// Threads: start, join and the destructor by one owner at a time; stop, schedule, post, call, callWithin, pass,
///          isCurrent, watchArrivals, unwatch, now, bytesReceived and statistics by any thread; the rest on the worker.
/// Errors:  an exception that leaves a handler is logged at level 30 and the loop goes on.
class TOVIK_API WorkerThread : private Thread {
 public:
  /// Runs nothing before start. The clock outlives the worker.
  explicit WorkerThread(const std::string& name, Clock& clock = Clock::steady());
  ~WorkerThread() override;

  Result start() override;
  void stop() override;
  /// Waits until the thread has ended, limit_ms milliseconds at most (-1: until it has). False when the limit has
  /// passed, and at once where waiting cannot succeed: on the worker itself, and inside what it waits for.
  bool join(int limit_ms) override;

  /// Whether the caller is on this worker.
  bool isCurrent() const { return calls_.isCurrent(); }
  /// Debug builds end the program, naming both threads, when called on any other thread.
  void requireCurrent() const;

  /// Calls the handler's onReady(0) in a turn of the loop to come; once, however often it was asked for before that.
  /// In the order of asking. A worker that has ended drops the handler. Allocates nothing.
  void schedule(std::shared_ptr<EventHandler> handler) noexcept;
  /// Runs a function on the worker in a turn to come.
  void post(std::function<void()> task);
  /// Runs f on the worker, between two handlers, and returns when it has run; at once on the worker itself. An
  /// exception that leaves f reaches the caller. A worker that waits here runs the calls of workers that it waits for
  /// inside its own handler, and no others: see WorkerCalls. Allocates nothing.
  void call(const std::function<void()>& f) { calls_.call(f); }
  /// The same, waiting limit_ms milliseconds at most. False when the limit has passed; f, which is copied, then runs
  /// later.
  bool callWithin(const std::function<void()>& f, int limit_ms) { return calls_.callWithin(f, limit_ms); }
  /// Waits until the handler that runs now has returned, limit_ms milliseconds at most (-1: until it has). False when
  /// the limit has passed; true at once on the worker itself.
  bool pass(int limit_ms) { return calls_.pass(limit_ms); }

  /// Calls the handler whenever the descriptor's readiness changes (edge-triggered), until `unwatch`. The handler
  /// stays alive until `retainUntilTurnEnd` has been called for it.
  Result watch(int descriptor, EventHandler& handler);
  /// The same, save that it may become writable without a call: an open connection always is, and would tell so at
  /// once.
  Result watchInput(int descriptor, EventHandler& handler);
  /// Makes a watchInput a watch.
  Result watchOutput(int descriptor, EventHandler& handler);
  /// Calls the handler in every turn that finds the descriptor with input (level-triggered), until `unwatch`. The
  /// handler stays alive until a turn that it asks for after that. Any thread.
  Result watchArrivals(int descriptor, EventHandler& handler);
  /// To be called before the descriptor is closed. Any thread.
  void unwatch(int descriptor);
  /// The deadlines of the worker's handlers.
  TimerQueue& timers() { return timers_; }
  /// Keeps what a handler that ends may still be reached by until the turn is over.
  void retainUntilTurnEnd(std::shared_ptr<EventHandler> handler) noexcept;

  /// Where the worker's connections receive; what stands in it is whole until the handler that asked for it returns.
  Buffer receiveBuffer();
  /// When the running handler began: a time that takes no look at the clock.
  Clock::Time handlerStart() const { return handlerStart_; }
  /// The time by the worker's clock.
  Clock::Time now() const { return clock_.now(); }
  /// What the counters of its transports add up in.
  ConnectionCounters& connections() { return connections_; }

  /// Of all connections that this worker ever served.
  unsigned long long bytesReceived() const { return connections_.read().bytes_in; }
  /// Of its whole life so far. Waits for nothing.
  WorkerStatistics statistics() const;

 private:
  /// Handlers in order of asking, linked through themselves so that asking allocates nothing.
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
  std::shared_ptr<EventHandler> retained_;  // linked through themselves too: ending must not fail for want of memory
  Clock::Time handlerStart_;

  // Written by the worker alone, and read by any thread.
  ConnectionCounters connections_;
  std::atomic<unsigned long long> wakeUps_{0};
  std::atomic<std::chrono::nanoseconds> longestHandler_{std::chrono::nanoseconds(0)};
};

}  // namespace tovik
