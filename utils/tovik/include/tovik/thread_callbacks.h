#pragma once

#include "tovik/visibility.h"

namespace tovik {

class WorkerThread;

/// Notifies the owner of a transport when the worker starts and stops serving it. Both are called on the worker, as a
/// pair, around all events of the transport. onThreadStop has returned before ~Transport returns. An exception that
/// leaves one of them is logged.
class TOVIK_API ThreadCallbacks {
 public:
  virtual ~ThreadCallbacks() = default;
  /// Before the transport's first event.
  virtual void onThreadStart(WorkerThread& worker) = 0;
  /// After its last one.
  virtual void onThreadStop(WorkerThread& worker) = 0;
};

}  // namespace tovik
