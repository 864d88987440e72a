#pragma once

#include "tovik/address.h"
#include "tovik/descriptor.h"
#include "tovik/protocol.h"
#include "tovik/result.h"
#include "tovik/socket_options.h"
#include "tovik/visibility.h"

namespace tovik {

/// A non-blocking socket that is closed on exec. Failures name the call and the address. Not thread-safe.
class TOVIK_API Socket {
 public:
  /// What recv, send and sendFile return besides a count of bytes.
  enum Outcome : long { wouldBlock = -1, failed = -2 };

  Socket() = default;
  /// Takes ownership of an open socket.
  explicit Socket(Descriptor descriptor) : descriptor_(std::move(descriptor)) {}

  /// -1 if it is closed.
  int number() const { return descriptor_.number(); }
  /// Whether it has a descriptor.
  bool isOpen() const { return descriptor_.isOpen(); }
  /// Does nothing if it is closed.
  void close() { descriptor_.close(); }

  /// Creates a socket.
  Result open(Protocol protocol);
  /// Sets the options, and turns keep-alive probes on if keep_alive is true.
  Result apply(const SocketOptions& options, bool keep_alive);

  /// Binds the local end of a connection, before connect. The kernel chooses a port for port 0 only when the socket
  /// connects, so that connections to different servers can share local ports.
  Result bindToConnect(const Address& local);
  /// Starts to connect. connected: whether it is connected when this returns. Fails if the kernel refuses at once, or
  /// if the socket has connected to itself.
  Result connect(const Address& remote, bool& connected);
  /// The errno value of a connect that has ended; 0 if it succeeded.
  int takeError();
  /// Whether both ends are this socket. It happens when nobody listens on a port of this host and the kernel chooses
  /// the same port for a socket that connects to it.
  bool isConnectedToItself() const;

  /// Binds to the address, where port 0 means any free one, and listens.
  Result listen(const Address& local);
  /// Accepts one waiting connection. False if there was none or accept failed; errno has the reason.
  bool accept(Socket& connection, Address& remote);

  /// 0.0.0.0:0 if there is none.
  Address localAddress() const;
  /// 0.0.0.0:0 while there is no peer.
  Address remoteAddress() const;

  /// The number of bytes received, 0 at the end of the peer's data, or an Outcome.
  long recv(char* data, unsigned long size);
  /// The number of bytes that the kernel took, or an Outcome.
  long send(const char* data, unsigned long size);
  /// Sends bytes of a file, from offset on, and advances offset. Returns what send returns.
  long sendFile(int file, long& offset, unsigned long size);

 private:
  Descriptor descriptor_;
};

}  // namespace tovik
