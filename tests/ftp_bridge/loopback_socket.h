#pragma once

#include <tovik/address.h>
#include <tovik/descriptor.h>

#include <string>
#include <vector>

namespace tovik::ftp {

/// A TCP socket on the loopback interface, for the peers that tests play. Waits are limited by the deadline of tests.
///
/// Errors: std::runtime_error that says what failed.
class LoopbackSocket {
 public:
  LoopbackSocket() = default;
  /// At a port that the system chooses.
  static LoopbackSocket listening(const std::string& host = "127.0.0.1");
  static LoopbackSocket connected(const Address& peer);

  bool isOpen() const { return descriptor_.isOpen(); }
  LoopbackSocket accept() const;
  Address address() const;
  Address peer() const;

  void send(const std::string& bytes) const;
  /// The same, but false when the peer has ended the connection.
  [[nodiscard]] bool offer(const std::string& bytes) const;
  /// What there is, one byte at least; empty when the peer has closed or reset the connection.
  std::string receive() const;
  /// True when nothing is there to be received at this moment.
  bool isQuiet() const;
  /// True once the peer has closed or reset the connection, whatever is still there to be received.
  bool hasEnded() const;
  int number() const { return descriptor_.number(); }

  void close() { descriptor_ = Descriptor(); }
  /// Says that nothing more will be sent: the peer sees the end of the data.
  void finish() const;
  /// Ends the connection without a farewell: the peer's next receive fails.
  void reset();

 private:
  explicit LoopbackSocket(int number) : descriptor_(number) {}

  Descriptor descriptor_;
};

/// The ports of the sockets of this process that listen.
std::vector<unsigned short> listeningPorts();

}  // namespace tovik::ftp
