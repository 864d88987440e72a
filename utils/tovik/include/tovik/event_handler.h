#pragma once

#include <atomic>
#include <memory>

#include "tovik/visibility.h"

namespace tovik {

/// Something that a WorkerThread calls: a descriptor is ready, a turn was asked for, or a time has come. The
/// worker keeps a handler that it was asked to call (`schedule`) alive until it has called it.
class TOVIK_API EventHandler {
 public:
  EventHandler() = default;
  EventHandler(const EventHandler&) = delete;
  EventHandler& operator=(const EventHandler&) = delete;
  virtual ~EventHandler() = default;

  /// events: EPOLLIN and its like for a watched descriptor, 0 for a scheduled turn.
  virtual void onReady(unsigned events) = 0;
  /// A deadline that was added to the worker's TimerQueue has come.
  virtual void onTimer() {}

 private:
  friend class WorkerThread;
  std::shared_ptr<EventHandler> next_;      // of the worker's chain of scheduled handlers; guarded by its mutex
  std::shared_ptr<EventHandler> retained_;  // of the worker's chain of ended handlers; the worker's alone
  std::atomic<bool> scheduled_{false};
};

}  // namespace tovik
