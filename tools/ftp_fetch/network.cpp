#include "ftp_fetch/network.h"

#include <netdb.h>
#include <sys/socket.h>
#include <tovik/descriptor.h>

#include <cerrno>
#include <cstring>
#include <memory>

namespace ftp_fetch {

tovik::Result resolveHost(const std::string& host, tovik::Address& address) {
  addrinfo hints{};
  hints.ai_family = AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const int error = ::getaddrinfo(host.c_str(), nullptr, &hints, &found);
  if (error != 0)
    return tovik::failure(host + ": " + (error == EAI_SYSTEM ? std::strerror(errno) : gai_strerror(error)));
  const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> owned(found, &::freeaddrinfo);
  sockaddr_in native{};
  std::memcpy(&native, found->ai_addr, sizeof native);
  address.insert_addr(&native.sin_addr);
  return tovik::Success;
}

/// Connecting a datagram socket chooses a route, and with it the local address.
tovik::Result findLocalAddress(const tovik::Address& server, tovik::Address& local) {
  const tovik::Descriptor probe(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  const sockaddr_in& remote = server.native();
  sockaddr_in bound{};
  socklen_t size = sizeof bound;
  if (!probe.isOpen() || ::connect(probe.number(), reinterpret_cast<const sockaddr*>(&remote), sizeof remote) != 0 ||
      ::getsockname(probe.number(), reinterpret_cast<sockaddr*>(&bound), &size) != 0)
    return tovik::failure("no local address for reaching " + server.printInet() + ": " + std::strerror(errno));
  bound.sin_port = 0;
  local = tovik::Address(bound);
  return tovik::Success;
}

}  // namespace ftp_fetch
