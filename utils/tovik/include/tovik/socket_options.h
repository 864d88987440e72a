#pragma once

namespace tovik {

/// What a socket is set to when it is made. The defaults serve.
struct SocketOptions {
  /// Send small writes at once (TCP_NODELAY).
  bool no_delay = true;
  /// Sizes of the kernel's buffers; 0 leaves the kernel's own choice, which grows with need.
  int receive_buffer_bytes = 0;
  int send_buffer_bytes = 0;
};

}  // namespace tovik
