#pragma once

#include "tovik/socket_options.h"
#include "tovik/visibility.h"

namespace tovik {

/// The settings of a transport, the same for all its connections. The defaults suit most programs.
struct TOVIK_API Traits : SocketOptions {
  /// The longest unit, such as a line, that a BufferedAggregator gathers, in bytes. A longer one ends the connection,
  /// so that a peer can't use up the memory by never ending its line.
  unsigned long max_unit_bytes = 1UL << 20U;

  /// This side ends a connection if the peer sends nothing within this many seconds of its start, which includes the
  /// time to connect. Has no effect once a byte was received. 0 or less: no limit.
  int first_byte_limit_s = 0;
};

}  // namespace tovik
