#pragma once

#include "tovik/address.h"
#include "tovik/descriptor.h"
#include "tovik/protocol.h"
#include "tovik/result.h"
#include "tovik/socket_options.h"
#include "tovik/visibility.h"

namespace tovik {

/// A non-blocking socket, closed on exec. Failures name the call and the address.
///
/// Threads: none of its own; whoever owns it sees to that.
class TOVIK_API Socket {
 public:
  /// What recv, send and sendFile give besides a count of bytes.
  enum Outcome : long { wouldBlock = -1, failed = -2 };

  Socket() = default;
  /// Takes an open socket over.
  explicit Socket(Descriptor descriptor) : descriptor_(std::move(descriptor)) {}

  /// -1 when it is closed.
  int number() const { return descriptor_.number(); }
  /// Whether there is a descriptor behind it.
  bool isOpen() const { return descriptor_.isOpen(); }
  /// Does nothing when it is closed.
  void close() { descriptor_.close(); }

  /// Asks the kernel for a socket.
  Result open(Protocol protocol);
  /// Sets the options, and keep-alive probes if asked for.
  Result apply(const SocketOptions& options, bool keep_alive);

  /// Binds the local end of a connection that will be made; any host with port 0 needs no call at all. Port 0 is
  /// chosen only when connecting, so that connections to different servers can share local ports.
  Result bindToConnect(const Address& local);
  /// Starts to connect; connected tells whether it is done already. Fails when the kernel already knows that it is
  /// refused, or when the socket has met itself.
  Result connect(const Address& remote, bool& connected);
  /// The error that ended the attempt to connect, 0 when it succeeded.
  int takeError();
  /// Whether both ends are this socket: where nobody listens on a port of this host, the kernel may choose that very
  /// port for a socket that connects to it.
  bool isConnectedToItself() const;

  /// Binds to the address, port 0 being any free one, and listens.
  Result listen(const Address& local);
  /// Takes one waiting connection; errno tells why when none was taken.
  bool accept(Socket& connection, Address& remote);

  /// Address 0.0.0.0:0 when the kernel gives none.
  Address localAddress() const;
  /// Address 0.0.0.0:0 while there is no peer.
  Address remoteAddress() const;

  /// The count of bytes moved, 0 at the peer's end of data, or an Outcome.
  long recv(char* data, unsigned long size);
  /// The count of bytes that the kernel took, or an Outcome.
  long send(const char* data, unsigned long size);
  /// Moves bytes straight from a file; advances offset.
  long sendFile(int file, long& offset, unsigned long size);

 private:
  Descriptor descriptor_;
};

}  // namespace tovik
