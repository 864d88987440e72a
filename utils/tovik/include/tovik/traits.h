#pragma once

#include "tovik/socket_options.h"
#include "tovik/visibility.h"

namespace tovik {

/// The settings of a transport, the same for all its connections. The defaults serve.
struct TOVIK_API Traits : SocketOptions {
  /// The longest unit (a line, say) that a BufferedAggregator gathers. A peer that sends a longer one loses its
  /// connection: it can't take the memory by never ending its line.
  unsigned long max_unit_bytes = 1UL << 20U;

  /// A connection on which the peer has sent nothing at all this many seconds after it was begun, connecting
  /// included, is ended by this side. It never touches a connection that has delivered a byte. 0 or less: no limit.
  int first_byte_limit_s = 0;
};

}  // namespace tovik
