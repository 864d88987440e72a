#include "support/sockets.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <stdexcept>

#include "support/waiting.h"

namespace testing_support {

namespace {

void require(bool holds, const char* what) {
  if (!holds) throw std::runtime_error(std::string(what) + ": " + std::strerror(errno));
}

const sockaddr* generic(const sockaddr_in& address) { return reinterpret_cast<const sockaddr*>(&address); }

tovik::Descriptor makeSocket() {
  tovik::Descriptor made(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  require(made.isOpen(), "socket");
  return made;
}

}  // namespace

sockaddr_in loopback(unsigned short port, const std::string& host) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  require(::inet_pton(AF_INET, host.c_str(), &address.sin_addr) == 1, "inet_pton");
  return address;
}

tovik::Descriptor listenOn(unsigned short port) {
  tovik::Descriptor listener = makeSocket();
  const sockaddr_in address = loopback(port);
  require(::bind(listener.number(), generic(address), sizeof address) == 0, "bind");
  require(::listen(listener.number(), 16) == 0, "listen");
  return listener;
}

unsigned short portOf(const tovik::Descriptor& socket) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  require(::getsockname(socket.number(), reinterpret_cast<sockaddr*>(&address), &size) == 0, "getsockname");
  return ntohs(address.sin_port);
}

tovik::Descriptor acceptFrom(const tovik::Descriptor& listener) {
  waitReadable(listener);
  tovik::Descriptor accepted(::accept4(listener.number(), nullptr, nullptr, SOCK_CLOEXEC));
  require(accepted.isOpen(), "accept");
  return accepted;
}

tovik::Descriptor connectTo(unsigned short port, const std::string& from) {
  tovik::Descriptor socket = makeSocket();
  const sockaddr_in local = loopback(0, from);
  const sockaddr_in remote = loopback(port);
  require(::bind(socket.number(), generic(local), sizeof local) == 0, "bind");
  require(::connect(socket.number(), generic(remote), sizeof remote) == 0, "connect");
  return socket;
}

void waitReadable(const tovik::Descriptor& socket) {
  pollfd waited{socket.number(), POLLIN, 0};
  const auto limit = std::chrono::duration_cast<std::chrono::milliseconds>(deadline);
  errno = ETIMEDOUT;
  require(::poll(&waited, 1, static_cast<int>(limit.count())) == 1, "waiting for a peer");
}

unsigned short portIn(const std::string& hostPort) {
  unsigned high = 0;
  unsigned low = 0;
  if (std::sscanf(hostPort.c_str(), "%*u,%*u,%*u,%*u,%u,%u", &high, &low) != 2)
    throw std::runtime_error("no host-port text: " + hostPort);
  return static_cast<unsigned short>(high * 256 + low);
}

void sendAll(const tovik::Descriptor& socket, const std::string& bytes) {
  for (std::size_t sent = 0; sent < bytes.size();) {
    const ssize_t count = ::send(socket.number(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    require(count > 0, "send");
    sent += static_cast<std::size_t>(count);
  }
}

std::string receiveSome(const tovik::Descriptor& socket) {
  waitReadable(socket);
  std::array<char, 65536> bytes{};
  const ssize_t count = ::recv(socket.number(), bytes.data(), bytes.size(), 0);
  require(count >= 0 || errno == ECONNRESET, "recv");
  return {bytes.data(), static_cast<std::size_t>(count < 0 ? 0 : count)};
}

std::string receiveToEnd(const tovik::Descriptor& socket) {
  std::string all;
  for (std::string some = receiveSome(socket); !some.empty(); some = receiveSome(socket)) all += some;
  return all;
}

}  // namespace testing_support
