#pragma once

#include <atomic>
#include <memory>

#include "tovik/visibility.h"

namespace tovik {

/// Is called by a WorkerThread when a descriptor is ready, in a requested turn, or at a deadline. The worker keeps a
/// scheduled handler alive until it has called it.
class TOVIK_API EventHandler {
 public:
  EventHandler() = default;
  EventHandler(const EventHandler&) = delete;
  EventHandler& operator=(const EventHandler&) = delete;
  virtual ~EventHandler() = default;

  /// events: EPOLLIN and the like for a watched descriptor, 0 for a requested turn.
  virtual void onReady(unsigned events) = 0;
  /// A deadline of this handler in the worker's TimerQueue has passed.
  virtual void onTimer() {}

 private:
  friend class WorkerThread;
  std::shared_ptr<EventHandler> next_;      // in the worker's chain of scheduled handlers; guarded by its mutex
  std::shared_ptr<EventHandler> retained_;  // in the worker's chain of ended handlers; used by the worker only
  std::atomic<bool> scheduled_{false};
};

}  // namespace tovik
