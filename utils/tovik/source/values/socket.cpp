#include "tovik/socket.h"

#include <netinet/tcp.h>

#include <cerrno>
#include <string>

#include "values/system.h"
#include "values/system_error.h"

namespace tovik {

namespace {

// If the port were chosen before the peer is known, thousands of sessions from one interface would use up all ports.
#ifndef IP_BIND_ADDRESS_NO_PORT
constexpr int IP_BIND_ADDRESS_NO_PORT = 24;
#endif

long outcome(ssize_t moved) {
  if (moved >= 0) return moved;
  return errno == EAGAIN || errno == EWOULDBLOCK ? Socket::wouldBlock : Socket::failed;
}

template <class Call>
long retried(Call call) {
  ssize_t moved = call();
  while (moved < 0 && errno == EINTR) moved = call();
  return outcome(moved);
}

}  // namespace

Result Socket::open(Protocol protocol) {
  if (protocol != Protocol::tcp) return failure("unknown protocol " + std::to_string(static_cast<int>(protocol)));
  descriptor_ = Descriptor(sys::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  return isOpen() ? Success : systemFailure("socket");
}

Result Socket::apply(const SocketOptions& options, bool keep_alive) {
  const auto set = [this](int level, int option, int value) {
    return sys::setsockopt(number(), level, option, value) == 0;
  };
  if (options.no_delay && !set(IPPROTO_TCP, TCP_NODELAY, 1)) return systemFailure("no_delay");
  if (keep_alive && !set(SOL_SOCKET, SO_KEEPALIVE, 1)) return systemFailure("keep_alive");
  if (options.receive_buffer_bytes > 0 && !set(SOL_SOCKET, SO_RCVBUF, options.receive_buffer_bytes))
    return systemFailure("receive_buffer_bytes");
  if (options.send_buffer_bytes > 0 && !set(SOL_SOCKET, SO_SNDBUF, options.send_buffer_bytes))
    return systemFailure("send_buffer_bytes");
  return Success;
}

Result Socket::bindToConnect(const Address& local) {
  if (local == Address(0)) return Success;
  const bool anyPort = local.port() == 0;
  if (anyPort && sys::setsockopt(number(), IPPROTO_IP, IP_BIND_ADDRESS_NO_PORT, 1) != 0)
    return systemFailure("bind to ", local);
  return sys::bind(number(), local.native()) == 0 ? Success : systemFailure("bind to ", local);
}

Result Socket::connect(const Address& remote, bool& connected) {
  const auto ask = [&] { return sys::connect(number(), remote.native()) == 0 ? 0 : errno; };
  int error = ask();
  // A non-blocking connect continues in the background, even if a signal interrupts the call. If the peer is on the
  // same host, the connect has ended by now, and a second call returns its outcome.
  if (error == EINPROGRESS || error == EINTR) error = ask();
  connected = error == 0 || error == EISCONN;
  if (connected && localAddress().port() == remote.port() && isConnectedToItself()) {
    connected = false;
    error = ECONNREFUSED;
  }
  const bool goesOn = error == EALREADY || error == EINPROGRESS || error == EINTR;
  return connected || goesOn ? Success : systemFailure("connect to ", remote, error);
}

int Socket::takeError() {
  int error = 0;
  return sys::getsockopt(number(), SOL_SOCKET, SO_ERROR, error) == 0 ? error : errno;
}

bool Socket::isConnectedToItself() const {
  const Address local = localAddress();
  return local.port() != 0 && local == remoteAddress();
}

Result Socket::listen(const Address& local) {
  // A server that is restarted must not wait until the old connections have left TIME_WAIT.
  const bool reuses = local.port() == 0 || sys::setsockopt(number(), SOL_SOCKET, SO_REUSEADDR, 1) == 0;
  const bool listens = reuses && sys::bind(number(), local.native()) == 0 && sys::listen(number(), SOMAXCONN) == 0;
  return listens ? Success : systemFailure("listen on ", local);
}

bool Socket::accept(Socket& connection, Address& remote) {
  sockaddr_in peer{};
  connection.descriptor_ = Descriptor(sys::accept(number(), peer));
  if (connection.isOpen()) remote = Address(peer);
  return connection.isOpen();
}

Address Socket::localAddress() const {
  sockaddr_in address{};
  return sys::getsockname(number(), address) == 0 ? Address(address) : Address(0);
}

Address Socket::remoteAddress() const {
  sockaddr_in address{};
  return sys::getpeername(number(), address) == 0 ? Address(address) : Address(0);
}

long Socket::recv(char* data, unsigned long size) {
  return retried([&] { return sys::recv(number(), data, size); });
}

long Socket::send(const char* data, unsigned long size) {
  return retried([&] { return sys::send(number(), data, size); });
}

long Socket::sendFile(int file, long& offset, unsigned long size) {
  return retried([&] { return sys::sendfile(number(), file, offset, size); });
}

}  // namespace tovik
