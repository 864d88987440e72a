#pragma once

#include <chrono>

#include "tovik/connection_statistics.h"
#include "tovik/visibility.h"

namespace tovik {

/// What one worker thread has done since it was made. Each figure is true of its own moment.
struct TOVIK_API WorkerStatistics {
  ConnectionStatistics connections;  ///< of all transports that it has ever served; open() is what it serves now
  unsigned long long wake_ups = 0;   ///< returns from its wait for events: one for each turn of the loop
  /// The longest that one handler has kept the others waiting, the callbacks in it included: a connection's event, a
  /// call, a posted function, or the timers of a moment. Counts when the handler has returned.
  std::chrono::nanoseconds longest_handler{0};
};

}  // namespace tovik
