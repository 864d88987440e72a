#pragma once

#include "tovik/visibility.h"

namespace tovik {

/// What a socket is set to when it is made. The defaults serve.
struct TOVIK_API SocketOptions {
  /// Send small writes at once (TCP_NODELAY).
  bool no_delay = true;
  /// Size of the kernel's receive buffer; 0 leaves its own choice, which grows with need.
  int receive_buffer_bytes = 0;
  /// The same for sending.
  int send_buffer_bytes = 0;
};

}  // namespace tovik
