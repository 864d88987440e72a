#pragma once

#include "tovik/visibility.h"

namespace tovik {

class WorkerThread;

/// Tells the owner of a transport when its worker begins and ends serving it; both are called on the worker, as a
/// pair, around all the transport's events. onThreadStop has returned before ~Transport has. An exception that
/// leaves one of them is logged and goes no further.
class TOVIK_API ThreadCallbacks {
 public:
  virtual ~ThreadCallbacks() = default;
  /// Before the transport's first event.
  virtual void onThreadStart(WorkerThread& worker) = 0;
  /// After its last one.
  virtual void onThreadStop(WorkerThread& worker) = 0;
};

}  // namespace tovik
