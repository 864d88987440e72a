#include "peers/connection.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace bench::peers {
namespace {

ssize_t checked(ssize_t result, const char* what) {
  if (result < 0) throw std::system_error(errno, std::generic_category(), what);
  return result;
}

int newSocket() { return static_cast<int>(checked(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket")); }

}  // namespace

sockaddr_in Connection::loopback(unsigned short port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

Connection Connection::connectTo(unsigned short port) {
  Connection made(newSocket());
  const sockaddr_in address = loopback(port);
  checked(connect(made.descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address), "connect");
  return made;
}

Connection Connection::listenOnAnyPort() {
  Connection made(newSocket());
  const sockaddr_in address = loopback(0);
  checked(bind(made.descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address), "bind");
  checked(listen(made.descriptor_, 1), "listen");
  return made;
}

Connection::Connection(int descriptor) : descriptor_(descriptor) {}

Connection::Connection(Connection&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}

Connection::~Connection() {
  if (descriptor_ >= 0) close(descriptor_);
}

Connection Connection::accept() const {
  return Connection(static_cast<int>(checked(accept4(descriptor_, nullptr, nullptr, SOCK_CLOEXEC), "accept4")));
}

unsigned short Connection::localPort() const {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  checked(getsockname(descriptor_, reinterpret_cast<sockaddr*>(&address), &size), "getsockname");
  return ntohs(address.sin_port);
}

void Connection::send(const std::string& text) const {
  const ssize_t sent = checked(::send(descriptor_, text.data(), text.size(), MSG_NOSIGNAL), "send");
  if (static_cast<std::size_t>(sent) != text.size()) throw std::system_error(EIO, std::generic_category(), "send");
}

std::size_t Connection::receive(char* into, std::size_t size) const {
  return static_cast<std::size_t>(checked(recv(descriptor_, into, size, 0), "recv"));
}

}  // namespace bench::peers
