#pragma once

#include "tovik/visibility.h"

namespace tovik {

/// What connections have come to so far: those of one transport, or all that a worker has ever served. One that
/// setup_and_connect refuses, or that no consumer takes, is none of them.
///
/// Each figure is true of its own moment, within the time that reading takes. But no connection is read as up or as
/// ended that is not counted as started.
struct TOVIK_API ConnectionStatistics {
  unsigned long long started = 0;        ///< connecting or accepted, from their first turn on the worker
  unsigned long long up = 0;             ///< of those, connected at any time
  unsigned long long ended_by_peer = 0;  ///< of those started, here and below
  unsigned long long ended_here = 0;     ///< by this side, its time limits included
  unsigned long long failed = 0;         ///< refused while connecting, or broken off by an error
  unsigned long long bytes_in = 0;       ///< received from the kernel, whether a consumer took them or not
  unsigned long long bytes_out = 0;      ///< that the kernel has taken

  /// How many there are now.
  unsigned long long open() const { return started - ended_by_peer - ended_here - failed; }
};

}  // namespace tovik
