#pragma once

#include <tovik/address.h>
#include <tovik/descriptor.h>

#include <string>

namespace testing_support {

/// Port 0 means any free port.
tovik::Address loopback(unsigned short port = 0);

/// The other end of a connection, in plain blocking calls. A call that exceeds the deadline throws.
class RawConnection {
 public:
  RawConnection() = default;
  explicit RawConnection(tovik::Descriptor descriptor);
  static RawConnection to(const tovik::Address& address);
  /// A socket to connect later, when no descriptor is left.
  static RawConnection unconnected();

  void connect(const tovik::Address& address);
  void send(const std::string& bytes);
  /// Sends one byte of urgent data.
  void sendUrgent(char byte);
  std::string receive(unsigned long count);
  /// Receives everything up to the end of the connection.
  std::string receiveAll();
  /// Waits for the end of the connection; returns false if bytes came before it.
  bool isEnded() { return receiveAll().empty(); }

  void shutdownSending();
  void close() { descriptor_.close(); }
  /// Resets the connection: its peer's reads and writes fail.
  void reset();

  tovik::Address localAddress() const;

 private:
  tovik::Descriptor descriptor_;
};

/// A loopback listener.
class RawListener {
 public:
  explicit RawListener(int backlog = 128, int receiveBufferBytes = 0);

  const tovik::Address& address() const { return address_; }
  RawConnection accept();
  void close() { descriptor_.close(); }

 private:
  tovik::Descriptor descriptor_;
  tovik::Address address_;
};

/// A loopback address where connection attempts are never answered.
class MutePlace {
 public:
  MutePlace() : filling_(RawConnection::to(listener_.address())) {}
  const tovik::Address& address() const { return listener_.address(); }

 private:
  RawListener listener_{0};
  RawConnection filling_;  // fills the listener's queue
};

/// A loopback address where connections are refused.
tovik::Address refusingPlace();

}  // namespace testing_support
