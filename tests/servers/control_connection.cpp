#include "control_connection.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "support/waiting.h"
#include "system_failure.h"

namespace test_servers {
namespace {

constexpr timeval patience{testing_support::deadline.count(), 0};

int openSocket() {
  const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (socket < 0) fail("socket", errno);
  // The limit for sending is the one for connecting, too.
  setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
  return socket;
}

int connectTo(const std::string& host, std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  if (inet_pton(AF_INET, host.c_str(), &address.sin_addr) != 1) throw std::runtime_error("no address: " + host);
  const int socket = openSocket();
  if (connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return socket;
  const int error = errno;
  close(socket);
  fail("connect to " + host + ":" + std::to_string(port), error);
}

}  // namespace

ControlConnection::ControlConnection(const std::string& host, std::uint16_t port) : socket_(connectTo(host, port)) {}

ControlConnection::~ControlConnection() { close(socket_); }

std::string ControlConnection::ask(const std::string& command) {
  const std::string line = command + "\r\n";
  if (send(socket_, line.data(), line.size(), MSG_NOSIGNAL) < 0) fail("send " + command, errno);
  return readLine();
}

std::string ControlConnection::readLine() {
  auto end = unread_.find("\r\n");
  for (; end == std::string::npos; end = unread_.find("\r\n"))
    if (!readMore()) throw std::runtime_error("the peer closed after \"" + unread_ + "\"");
  const std::string line = unread_.substr(0, end);
  unread_.erase(0, end + 2);
  return line;
}

std::string ControlConnection::readAll() {
  while (readMore()) continue;
  return std::exchange(unread_, {});
}

bool ControlConnection::readMore() {
  char bytes[65536];
  const auto count = recv(socket_, bytes, sizeof bytes, 0);
  if (count < 0) fail("recv", errno);
  unread_.append(bytes, static_cast<std::size_t>(count));
  return count > 0;
}

}  // namespace test_servers
