#include "ftp_serve/host_port.h"

#include <arpa/inet.h>

#include <array>
#include <charconv>
#include <cstdint>

namespace ftp_serve {

namespace {

bool readByte(std::string_view& text, std::uint32_t& byte) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), byte);
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return error == std::errc() && byte <= 255;
}

bool readComma(std::string_view& text) {
  if (!text.starts_with(',')) return false;
  text.remove_prefix(1);
  return true;
}

in_addr hostOf(const tovik::Address& address) {
  in_addr host{};
  address.extract_addr(&host);
  return host;
}

}  // namespace

std::optional<tovik::Address> parseHostPort(std::string_view text) {
  std::array<std::uint32_t, 6> bytes{};
  for (std::size_t i = 0; i < bytes.size(); ++i)
    if ((i > 0 && !readComma(text)) || !readByte(text, bytes[i])) return std::nullopt;
  const auto port = static_cast<unsigned short>(bytes[4] << 8U | bytes[5]);
  if (!text.empty() || port == 0) return std::nullopt;
  const in_addr host{htonl(bytes[0] << 24U | bytes[1] << 16U | bytes[2] << 8U | bytes[3])};
  tovik::Address address(port);
  address.insert_addr(&host);
  return address;
}

std::string printHostPort(const tovik::Address& address) {
  const std::uint32_t host = ntohl(hostOf(address).s_addr);
  std::string text;
  for (const unsigned shift : {24U, 16U, 8U, 0U}) text += std::to_string(host >> shift & 255U) + ",";
  return text + std::to_string(address.port() / 256) + "," + std::to_string(address.port() % 256);
}

bool isSameHost(const tovik::Address& a, const tovik::Address& b) { return hostOf(a).s_addr == hostOf(b).s_addr; }

}  // namespace ftp_serve
