#pragma once

#include "tovik/protocol.h"
#include "tovik/result.h"
#include "tovik/socket.h"
#include "tovik/visibility.h"

namespace tovik {

/// Makes a transport's sockets in place of the kernel: sockets opened by a privileged helper, say. Called on the
/// thread that starts a connection or a listener; must outlive the transport.
class TOVIK_API Factory {
 public:
  virtual ~Factory() = default;
  /// Puts an open, non-blocking socket in, or fails and leaves it as it was.
  virtual Result makeSocket(Protocol protocol, Socket& socket) = 0;
};

}  // namespace tovik
