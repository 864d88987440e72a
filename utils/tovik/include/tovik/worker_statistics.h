#pragma once

#include <chrono>

#include "tovik/connection_statistics.h"
#include "tovik/visibility.h"

namespace tovik {

/// What one worker thread has done since it was made. The figures are read one after another.
struct TOVIK_API WorkerStatistics {
  ConnectionStatistics connections;  ///< of all transports that it has ever served
  unsigned long long wake_ups = 0;   ///< turns of the event loop
  /// The longest time that one handler took, its callbacks included: a connection's event, a call, a posted function,
  /// or the timers of one turn. Counted when the handler has returned.
  std::chrono::nanoseconds longest_handler{0};
};

}  // namespace tovik
