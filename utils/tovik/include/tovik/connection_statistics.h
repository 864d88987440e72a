#pragma once

#include "tovik/visibility.h"

namespace tovik {

/// What connections have come to so far: those of one transport, or all that a worker has ever served. One that
/// setup_and_connect refuses, or that no consumer takes, is none of them.
///
/// Each figure is true of its own moment, within the time that reading takes. But no connection is read as up or as
/// ended that is not read as begun.
struct TOVIK_API ConnectionStatistics {
  unsigned long long begun = 0;        ///< connecting or accepted, from their first turn on the worker
  unsigned long long up = 0;           ///< of those, connected at any time
  unsigned long long endedByPeer = 0;  ///< of those begun, here and below
  unsigned long long endedHere = 0;    ///< by this side, its time limits included
  unsigned long long failed = 0;       ///< refused while connecting, or broken off by an error
  unsigned long long bytesIn = 0;      ///< received from the kernel, whether a consumer took them or not
  unsigned long long bytesOut = 0;     ///< that the kernel has taken

  /// How many there are now.
  unsigned long long open() const { return begun - endedByPeer - endedHere - failed; }
};

}  // namespace tovik
