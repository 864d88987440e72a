#include "loopback_socket.h"

#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "support/waiting.h"

namespace tovik::ftp {

namespace {

[[noreturn]] void fail(const std::string& what) {
  throw std::runtime_error(what + ": " + std::generic_category().message(errno));
}

void require(bool done, const char* what) {
  if (!done) fail(what);
}

void await(int descriptor, short events, const char* what) {
  using std::chrono::milliseconds;
  pollfd waiting{descriptor, events, 0};
  const auto limit = std::chrono::duration_cast<milliseconds>(testing_support::deadline);
  const int ready = ::poll(&waiting, 1, static_cast<int>(limit.count()));
  require(ready >= 0, what);
  if (ready == 0) throw std::runtime_error(what + std::string(": not within the deadline"));
}

Address addressBy(int (*ask)(int, sockaddr*, socklen_t*), int descriptor) {
  sockaddr_in native{};
  socklen_t size = sizeof native;
  require(ask(descriptor, reinterpret_cast<sockaddr*>(&native), &size) == 0, "address of a socket");
  return Address(native);
}

int makeSocket() {
  const int number = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  require(number >= 0, "socket");
  return number;
}

/// So that several sends in a row are not gathered into one segment.
void sendAtOnce(int descriptor) {
  const int on = 1;
  require(::setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) == 0, "TCP_NODELAY");
}

}  // namespace

LoopbackSocket LoopbackSocket::listening(const std::string& host) {
  LoopbackSocket made(makeSocket());
  Address address(0);
  if (!address.set_host(host)) throw std::runtime_error(host + " is no address");
  const auto* native = reinterpret_cast<const sockaddr*>(&address.native());
  require(::bind(made.descriptor_.number(), native, sizeof(sockaddr_in)) == 0, "bind");
  require(::listen(made.descriptor_.number(), SOMAXCONN) == 0, "listen");
  return made;
}

LoopbackSocket LoopbackSocket::connected(const Address& peer) {
  LoopbackSocket made(makeSocket());
  const auto* native = reinterpret_cast<const sockaddr*>(&peer.native());
  require(::connect(made.descriptor_.number(), native, sizeof(sockaddr_in)) == 0, "connect");
  sendAtOnce(made.descriptor_.number());
  return made;
}

LoopbackSocket LoopbackSocket::accept() const {
  await(descriptor_.number(), POLLIN, "accept");
  const int number = ::accept4(descriptor_.number(), nullptr, nullptr, SOCK_CLOEXEC);
  require(number >= 0, "accept");
  LoopbackSocket accepted(number);
  sendAtOnce(number);
  return accepted;
}

Address LoopbackSocket::address() const { return addressBy(::getsockname, descriptor_.number()); }

Address LoopbackSocket::peer() const { return addressBy(::getpeername, descriptor_.number()); }

void LoopbackSocket::send(const std::string& bytes) const { require(offer(bytes), "send"); }

bool LoopbackSocket::offer(const std::string& bytes) const {
  std::string::size_type sent = 0;
  while (sent < bytes.size()) {
    await(descriptor_.number(), POLLOUT, "send");
    const auto taken =
        ::send(descriptor_.number(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (taken < 0 && errno == EAGAIN) continue;
    if (taken < 0 && (errno == EPIPE || errno == ECONNRESET)) return false;
    require(taken > 0, "send");
    sent += static_cast<std::string::size_type>(taken);
  }
  return true;
}

std::string LoopbackSocket::receive() const {
  std::array<char, 4096> bytes{};
  await(descriptor_.number(), POLLIN, "receive");
  const auto received = ::recv(descriptor_.number(), bytes.data(), bytes.size(), 0);
  if (received < 0 && errno == ECONNRESET) return {};
  require(received >= 0, "receive");
  return {bytes.data(), static_cast<std::string::size_type>(received)};
}

bool LoopbackSocket::isQuiet() const {
  pollfd waiting{descriptor_.number(), POLLIN, 0};
  return ::poll(&waiting, 1, 0) == 0;
}

bool LoopbackSocket::hasEnded() const {
  pollfd waiting{descriptor_.number(), POLLRDHUP, 0};
  return ::poll(&waiting, 1, 0) != 0;
}

void LoopbackSocket::finish() const { require(::shutdown(descriptor_.number(), SHUT_WR) == 0, "shutdown"); }

void LoopbackSocket::reset() {
  const linger none{1, 0};
  require(::setsockopt(descriptor_.number(), SOL_SOCKET, SO_LINGER, &none, sizeof none) == 0, "SO_LINGER");
  close();
}

std::vector<unsigned short> listeningPorts() {
  std::vector<unsigned short> ports;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    const int number = std::stoi(entry.path().filename());
    int listens = 0;
    socklen_t size = sizeof listens;
    // Fails for what is no socket.
    if (::getsockopt(number, SOL_SOCKET, SO_ACCEPTCONN, &listens, &size) == 0 && listens != 0)
      ports.push_back(addressBy(::getsockname, number).port());
  }
  return ports;
}

}  // namespace tovik::ftp
