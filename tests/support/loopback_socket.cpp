#include "support/loopback_socket.h"

#include <netinet/tcp.h>
#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "support/waiting.h"

namespace testing_support {

namespace {

using tovik::Address;
using tovik::Descriptor;

constexpr unsigned long pieceBytes = 65536;

long checked(long result, const char* call) {
  if (result < 0) throw std::system_error(errno, std::generic_category(), call);
  return result;
}

void await(const Descriptor& descriptor, short events, const char* call) {
  using std::chrono::milliseconds;
  pollfd waiting{descriptor.number(), events, 0};
  const auto limit = std::chrono::duration_cast<milliseconds>(deadline);
  if (checked(::poll(&waiting, 1, static_cast<int>(limit.count())), call) == 0)
    throw std::system_error(ETIMEDOUT, std::generic_category(), call);
}

template <class Value>
void setOption(const Descriptor& descriptor, int level, int option, const Value& value) {
  checked(::setsockopt(descriptor.number(), level, option, &value, sizeof value), "setsockopt");
}

const sockaddr* generic(const Address& address) { return reinterpret_cast<const sockaddr*>(&address.native()); }

Address addressBy(int (*call)(int, sockaddr*, socklen_t*), int descriptor) {
  sockaddr_in native{};
  socklen_t size = sizeof native;
  checked(call(descriptor, reinterpret_cast<sockaddr*>(&native), &size), "address of a socket");
  return Address(native);
}

/// Takes the result of a call that makes a socket.
Descriptor madeBy(int result, const char* call) {
  Descriptor made(static_cast<int>(checked(result, call)));
  setOption(made, IPPROTO_TCP, TCP_NODELAY, 1);
  return made;
}

void bind(const Descriptor& descriptor, const Address& local) {
  checked(::bind(descriptor.number(), generic(local), sizeof(sockaddr_in)), "bind");
}

}  // namespace

Address loopback(unsigned short port, const std::string& host) {
  Address address(port);
  if (!address.set_host(host)) throw std::invalid_argument(host + " is no address");
  return address;
}

Address refusingAddress() { return LoopbackSocket::listening().address(); }

LoopbackSocket LoopbackSocket::unconnected() {
  return LoopbackSocket(madeBy(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket"));
}

LoopbackSocket LoopbackSocket::listening(const Address& local, int backlog, int receiveBufferBytes) {
  LoopbackSocket made = unconnected();
  if (receiveBufferBytes > 0) setOption(made.descriptor_, SOL_SOCKET, SO_RCVBUF, receiveBufferBytes);
  bind(made.descriptor_, local);
  checked(::listen(made.number(), backlog), "listen");
  return made;
}

LoopbackSocket LoopbackSocket::connected(const Address& peer, const Address& local) {
  LoopbackSocket made = unconnected();
  if (!(local == Address())) bind(made.descriptor_, local);
  made.connect(peer);
  return made;
}

Address LoopbackSocket::address() const { return addressBy(::getsockname, number()); }

Address LoopbackSocket::peer() const { return addressBy(::getpeername, number()); }

void LoopbackSocket::connect(const Address& peer) const {
  checked(::connect(number(), generic(peer), sizeof(sockaddr_in)), "connect");
}

LoopbackSocket LoopbackSocket::accept() const {
  await(descriptor_, POLLIN, "accept");
  return LoopbackSocket(madeBy(::accept4(number(), nullptr, nullptr, SOCK_CLOEXEC), "accept"));
}

void LoopbackSocket::send(const std::string& bytes) const {
  if (!trySend(bytes)) throw std::system_error(EPIPE, std::generic_category(), "send");
}

bool LoopbackSocket::trySend(const std::string& bytes) const {
  for (std::string::size_type sent = 0; sent < bytes.size();) {
    await(descriptor_, POLLOUT, "send");
    const auto taken = ::send(number(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (taken < 0 && errno == EAGAIN) continue;
    if (taken < 0 && (errno == EPIPE || errno == ECONNRESET)) return false;
    sent += static_cast<std::string::size_type>(checked(taken, "send"));
  }
  return true;
}

void LoopbackSocket::sendUrgent(char byte) const { checked(::send(number(), &byte, 1, MSG_OOB), "send"); }

std::string LoopbackSocket::receive() const { return receiveUpTo(pieceBytes); }

std::string LoopbackSocket::receive(unsigned long count) const {
  std::string bytes;
  while (bytes.size() < count) {
    const std::string more = receiveUpTo(count - bytes.size());
    if (more.empty()) break;
    bytes += more;
  }
  return bytes;
}

std::string LoopbackSocket::receiveToEnd() const {
  std::string bytes;
  for (std::string more = receive(); !more.empty(); more = receive()) bytes += more;
  return bytes;
}

std::string LoopbackSocket::receiveUpTo(unsigned long count) const {
  await(descriptor_, POLLIN, "receive");
  std::array<char, pieceBytes> bytes;
  const auto received = ::recv(number(), bytes.data(), std::min(count, bytes.size()), 0);
  if (received < 0 && errno == ECONNRESET) return {};
  return {bytes.data(), static_cast<unsigned long>(checked(received, "receive"))};
}

bool LoopbackSocket::isQuiet() const {
  pollfd waiting{number(), POLLIN, 0};
  return ::poll(&waiting, 1, 0) == 0;
}

bool LoopbackSocket::hasEnded() const {
  pollfd waiting{number(), POLLRDHUP, 0};
  return ::poll(&waiting, 1, 0) != 0;
}

void LoopbackSocket::shutdownSending() const { checked(::shutdown(number(), SHUT_WR), "shutdown"); }

void LoopbackSocket::reset() {
  setOption(descriptor_, SOL_SOCKET, SO_LINGER, linger{1, 0});
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

}  // namespace testing_support
