#pragma once

#include <qk/mutex.h>

#include <memory>
#include <string>
#include <vector>

#include "tovik/clock.h"
#include "tovik/result.h"
#include "tovik/visibility.h"
#include "tovik/worker_statistics.h"
#include "tovik/worker_thread.h"

namespace tovik {

/// A dispatcher: a named group of worker threads that transports are spread over. Made by the DispatchStore.
///
/// Threads: any.
class TOVIK_API DispatchGenerator {
 public:
  /// Has no workers before start.
  explicit DispatchGenerator(std::string name) : name_(std::move(name)) {}

  /// The name that the store knows it by.
  const std::string& name() const { return name_; }
  /// Starts the workers, which go by the clock; it outlives them. Fails on a count of 0, and when the system gives no
  /// threads. Once.
  Result start(unsigned workerCount, Clock& clock = Clock::steady());

  /// The worker that serves the fewest transports; one more from now on. It stays in memory for as long as anybody
  /// keeps the pointer, though it ends with its dispatcher.
  std::shared_ptr<WorkerThread> acquire();
  /// A transport that the worker served is gone.
  void release(const WorkerThread& worker);

  /// Of each worker, in the order in which they were made. Waits for nothing.
  std::vector<WorkerStatistics> statistics() const;

  /// Makes the workers end once no transport uses any of them; they end by themselves, nobody waits here.
  void retire();
  /// Whether a transport uses one of the workers.
  bool isUsed() const;
  /// Waits until the workers of a retired dispatcher that no transport uses have ended. False where waiting cannot
  /// succeed: see WorkerThread::join.
  bool join();

 private:
  void stopWorkers();

  const std::string name_;
  std::vector<std::shared_ptr<WorkerThread>> workers_;  // constant after start

  mutable qk::Mutex mutex_;
  std::vector<unsigned long> transportsOf_ QK_GUARDED_BY(mutex_);  // each worker, at its place in workers_
  unsigned long transports_ QK_GUARDED_BY(mutex_) = 0;
  bool retired_ QK_GUARDED_BY(mutex_) = false;
};

}  // namespace tovik
