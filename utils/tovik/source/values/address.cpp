#include "tovik/address.h"

#include <arpa/inet.h>

#include <array>
#include <ostream>

namespace tovik {

Address::Address(unsigned short port) {
  native_.sin_family = AF_INET;
  native_.sin_port = htons(port);
}

Address::Address(const sockaddr_in& native) : native_(native) {}

unsigned short Address::port() const { return ntohs(native_.sin_port); }

void Address::set_port(unsigned short port) { native_.sin_port = htons(port); }

Result Address::set_host(const std::string& dotted) {
  // inet_pton stops at a NUL, which the text may contain.
  in_addr host{};
  if (dotted.find('\0') != std::string::npos || inet_pton(AF_INET, dotted.c_str(), &host) != 1)
    return failure("not an IPv4 address: " + dotted);
  native_.sin_addr = host;
  return Success;
}

Result Address::ntop(char* text, unsigned long size, const in_addr* host) {
  if (inet_ntop(AF_INET, host, text, static_cast<socklen_t>(size)) == nullptr)
    return failure("an IPv4 address does not fit in " + std::to_string(size) + " bytes");
  return Success;
}

std::string Address::printInet() const {
  std::array<char, INET_ADDRSTRLEN> host{};
  inet_ntop(AF_INET, &native_.sin_addr, host.data(), host.size());
  std::string text = host.data();
  text += ':';
  text += std::to_string(port());
  return text;
}

void Address::print(std::ostream& out) const { out << printInet(); }

bool operator==(const Address& a, const Address& b) {
  return a.native().sin_addr.s_addr == b.native().sin_addr.s_addr && a.native().sin_port == b.native().sin_port;
}

std::ostream& operator<<(std::ostream& out, const Address& address) {
  address.print(out);
  return out;
}

}  // namespace tovik
