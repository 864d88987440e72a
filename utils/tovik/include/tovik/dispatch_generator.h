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

/// A dispatcher: a named group of worker threads, over which its transports are distributed. Made by the DispatchStore.
///
/// Threads: any.
class TOVIK_API DispatchGenerator {
 public:
  /// Has no workers before start.
  explicit DispatchGenerator(std::string name) : name_(std::move(name)) {}

  /// Its name in the store.
  const std::string& name() const { return name_; }
  /// Starts the workers, with a clock that must outlive them. Fails if the count is 0 or the system can't start a
  /// thread. Called once.
  Result start(unsigned workerCount, Clock& clock = Clock::steady());

  /// Chooses the worker that serves the fewest transports, and counts one more for it. The thread ends with its
  /// dispatcher; the object exists as long as there is a pointer to it.
  std::shared_ptr<WorkerThread> acquire();
  /// Counts one transport fewer for the worker.
  void release(const WorkerThread& worker);

  /// The statistics of each worker, in the order in which they were made. Never waits.
  std::vector<WorkerStatistics> statistics() const;

  /// Makes the workers end as soon as no transport uses any of them. Does not wait.
  void retire();
  /// Whether a transport uses one of the workers.
  bool isUsed() const;
  /// Waits until the workers have ended. REQUIRES: the dispatcher is retired and no transport uses it. False if waiting
  /// cannot succeed: see WorkerThread::join.
  bool join();

 private:
  void stopWorkers();

  const std::string name_;
  std::vector<std::shared_ptr<WorkerThread>> workers_;  // constant after start

  mutable qk::Mutex mutex_;
  std::vector<unsigned long> transportsOf_ QK_GUARDED_BY(mutex_);  // the count of each worker, in the order of workers_
  unsigned long transports_ QK_GUARDED_BY(mutex_) = 0;
  bool retired_ QK_GUARDED_BY(mutex_) = false;
};

}  // namespace tovik
