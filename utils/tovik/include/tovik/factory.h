#pragma once

#include "tovik/protocol.h"
#include "tovik/result.h"
#include "tovik/socket.h"
#include "tovik/visibility.h"

namespace tovik {

/// Makes a transport's sockets, for example sockets that a privileged helper opens. Called on the thread that starts a
/// connection or a listener. Must outlive the transport.
class TOVIK_API Factory {
 public:
  virtual ~Factory() = default;
  /// Stores an open, non-blocking socket in `socket`; leaves it unchanged on failure.
  virtual Result makeSocket(Protocol protocol, Socket& socket) = 0;
};

}  // namespace tovik
