#pragma once

#include "tovik/visibility.h"

namespace tovik {

/// The connections of one transport so far, or of all transports that a worker has ever served. A connection that
/// setup_and_connect refuses, or that gets no consumer, is not counted.
///
/// The figures are read one after another, so each is from a slightly different moment. But a connection that is
/// counted as up or ended is always counted as started, too.
struct TOVIK_API ConnectionStatistics {
  unsigned long long started = 0;        ///< connections that had their first turn on the worker
  unsigned long long up = 0;             ///< of those, the ones that became connected
  unsigned long long ended_by_peer = 0;  ///< ended by the peer
  unsigned long long ended_here = 0;     ///< ended by this side, time limits included
  unsigned long long failed = 0;         ///< could not be connected, or were ended by an error
  unsigned long long bytes_in = 0;       ///< received from the kernel, delivered or not
  unsigned long long bytes_out = 0;      ///< taken by the kernel to be sent

  /// The number of connections that exist now.
  unsigned long long open() const { return started - ended_by_peer - ended_here - failed; }
};

}  // namespace tovik
