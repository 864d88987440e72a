#pragma once

#include <sys/socket.h>
#include <tovik/address.h>
#include <tovik/descriptor.h>

#include <string>
#include <utility>
#include <vector>

namespace testing_support {

/// Port 0: any free one.
tovik::Address loopback(unsigned short port = 0, const std::string& host = "127.0.0.1");

/// A loopback address that nobody listens on.
tovik::Address refusingAddress();

/// A blocking TCP socket on the loopback interface: the other end of the connections under test, made of plain system
/// calls. It sends at once, so that several sends in a row are not gathered into one segment.
///
/// Errors: std::system_error that says what failed; a wait fails at the deadline of waiting.h.
class LoopbackSocket {
 public:
  /// Closed.
  LoopbackSocket() = default;
  /// The accepted connections have the listener's receive buffer; 0 leaves it to the system.
  static LoopbackSocket listening(const tovik::Address& local = loopback(), int backlog = SOMAXCONN,
                                  int receiveBufferBytes = 0);
  static LoopbackSocket connected(const tovik::Address& peer, const tovik::Address& local = tovik::Address());
  /// For a moment when there is no descriptor left.
  static LoopbackSocket unconnected();

  bool isOpen() const { return descriptor_.isOpen(); }
  int number() const { return descriptor_.number(); }
  tovik::Address address() const;
  unsigned short port() const { return address().port(); }
  tovik::Address peer() const;

  void connect(const tovik::Address& peer) const;
  LoopbackSocket accept() const;

  void send(const std::string& bytes) const;
  /// The same, but false when the peer has ended the connection.
  [[nodiscard]] bool trySend(const std::string& bytes) const;
  /// Sends one byte out of band.
  void sendUrgent(char byte) const;

  /// What there is, one byte at least; empty when the peer has closed or reset the connection.
  std::string receive() const;
  /// So many bytes, fewer only when the peer has closed or reset the connection before.
  std::string receive(unsigned long count) const;
  /// Everything until the peer has closed or reset the connection.
  std::string receiveToEnd() const;
  /// Waits for the end of the connection; false when bytes came before it.
  [[nodiscard]] bool waitForEnd() const { return receiveToEnd().empty(); }

  /// Whether there is nothing to be received, or accepted, at this moment.
  bool isQuiet() const;
  /// Whether the peer has closed or reset the connection, whatever is still there to be received.
  bool hasEnded() const;

  void close() { descriptor_.close(); }
  /// The peer sees the end of the data.
  void shutdownSending() const;
  /// Ends the connection such that the peer's next receive fails.
  void reset();

 private:
  explicit LoopbackSocket(tovik::Descriptor descriptor) : descriptor_(std::move(descriptor)) {}

  std::string receiveUpTo(unsigned long count) const;

  tovik::Descriptor descriptor_;
};

/// The ports of the sockets of this process that listen.
std::vector<unsigned short> listeningPorts();

}  // namespace testing_support
