#include "raw_peer.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

#include "support/waiting.h"

namespace testing_support {

namespace {

using tovik::Address;
using tovik::Descriptor;

const sockaddr* plain(const sockaddr_in& address) { return reinterpret_cast<const sockaddr*>(&address); }
sockaddr* plain(sockaddr_in& address) { return reinterpret_cast<sockaddr*>(&address); }

long checked(long result, const char* what) {
  if (result < 0) throw std::system_error(errno, std::generic_category(), what);
  return result;
}

template <class Value>
void set(int descriptor, int option, const Value& value) {
  checked(::setsockopt(descriptor, SOL_SOCKET, option, &value, sizeof value), "setsockopt");
}

Descriptor newSocket() {
  return Descriptor(static_cast<int>(checked(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket")));
}

Address ownAddress(int descriptor) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  checked(::getsockname(descriptor, plain(address), &size), "getsockname");
  return Address(address);
}

}  // namespace

Address loopback(unsigned short port) {
  Address address(port);
  if (!address.set_host("127.0.0.1")) throw std::logic_error("127.0.0.1");
  return address;
}

RawConnection::RawConnection(Descriptor descriptor) : descriptor_(std::move(descriptor)) {
  const timeval limit{deadline.count(), 0};
  set(descriptor_.number(), SO_RCVTIMEO, limit);
  set(descriptor_.number(), SO_SNDTIMEO, limit);
}

RawConnection RawConnection::unconnected() { return RawConnection(newSocket()); }

RawConnection RawConnection::to(const Address& address) {
  RawConnection connection = unconnected();
  connection.connect(address);
  return connection;
}

void RawConnection::connect(const Address& address) {
  checked(::connect(descriptor_.number(), plain(address.native()), sizeof address.native()), "connect");
}

void RawConnection::send(const std::string& bytes) {
  for (unsigned long sent = 0; sent < bytes.size();)
    sent += static_cast<unsigned long>(
        checked(::send(descriptor_.number(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL), "send"));
}

void RawConnection::sendUrgent(char byte) { checked(::send(descriptor_.number(), &byte, 1, MSG_OOB), "send"); }

std::string RawConnection::receive(unsigned long count) {
  std::string received(count, '\0');
  if (count > 0) {
    const long got = checked(::recv(descriptor_.number(), received.data(), count, MSG_WAITALL), "recv");
    received.resize(static_cast<unsigned long>(got));
  }
  return received;
}

std::string RawConnection::receiveAll() {
  std::string received;
  std::array<char, 65536> piece;
  for (;;) {
    const long count = ::recv(descriptor_.number(), piece.data(), piece.size(), 0);
    // A reset is an end as well.
    if (count == 0 || (count < 0 && errno == ECONNRESET)) return received;
    received.append(piece.data(), static_cast<unsigned long>(checked(count, "recv")));
  }
}

void RawConnection::shutdownSending() { checked(::shutdown(descriptor_.number(), SHUT_WR), "shutdown"); }

void RawConnection::reset() {
  set(descriptor_.number(), SO_LINGER, linger{1, 0});
  descriptor_.close();
}

Address RawConnection::localAddress() const { return ownAddress(descriptor_.number()); }

RawListener::RawListener(int backlog, int receiveBufferBytes) : descriptor_(newSocket()) {
  // Accepted connections have the listener's sizes.
  if (receiveBufferBytes > 0) set(descriptor_.number(), SO_RCVBUF, receiveBufferBytes);
  const Address any = loopback();
  checked(::bind(descriptor_.number(), plain(any.native()), sizeof any.native()), "bind");
  checked(::listen(descriptor_.number(), backlog), "listen");
  address_ = ownAddress(descriptor_.number());
  set(descriptor_.number(), SO_RCVTIMEO, timeval{deadline.count(), 0});
}

RawConnection RawListener::accept() {
  const long accepted = checked(::accept4(descriptor_.number(), nullptr, nullptr, SOCK_CLOEXEC), "accept");
  return RawConnection(Descriptor(static_cast<int>(accepted)));
}

Address refusingPlace() {
  RawListener once;
  return once.address();
}

}  // namespace testing_support
