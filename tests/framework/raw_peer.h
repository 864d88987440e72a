#pragma once

#include <tovik/address.h>
#include <tovik/descriptor.h>

#include <string>

namespace testing_support {

/// Port 0: any free one.
tovik::Address loopback(unsigned short port = 0);

/// The other end of a connection, in plain blocking calls. What does not happen within the deadline throws.
class RawConnection {
 public:
  RawConnection() = default;
  explicit RawConnection(tovik::Descriptor descriptor);
  static RawConnection to(const tovik::Address& address);
  /// A socket that has not begun to connect, for a moment when there is no descriptor left.
  static RawConnection unconnected();

  void connect(const tovik::Address& address);
  void send(const std::string& bytes);
  /// One byte that stands outside of the others.
  void sendUrgent(char byte);
  std::string receive(unsigned long count);
  /// Everything up to the end of the connection.
  std::string receiveAll();
  /// Waits for the end of the connection without any byte before it.
  bool isEnded() { return receiveAll().empty(); }

  void shutdownSending();
  void close() { descriptor_.close(); }
  /// Ends the connection at once and for the worse: its peer's reads and writes fail.
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

/// A loopback address that answers nobody who wants to connect.
class MutePlace {
 public:
  MutePlace() : filling_(RawConnection::to(listener_.address())) {}
  const tovik::Address& address() const { return listener_.address(); }

 private:
  RawListener listener_{0};
  RawConnection filling_;  // all that the listener's queue takes
};

/// A loopback address that nobody listens on.
tovik::Address refusingPlace();

}  // namespace testing_support
