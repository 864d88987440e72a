#pragma once

#include "tovik/visibility.h"

namespace tovik {

/// The options that a socket is made with. The defaults suit most programs.
struct TOVIK_API SocketOptions {
  /// Send small writes at once (TCP_NODELAY).
  bool no_delay = true;
  /// Size of the kernel's receive buffer in bytes; 0: the kernel's choice, which grows as needed.
  int receive_buffer_bytes = 0;
  /// Size of the kernel's send buffer in bytes; 0: the kernel's choice.
  int send_buffer_bytes = 0;
};

}  // namespace tovik
