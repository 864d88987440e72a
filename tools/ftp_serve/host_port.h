#pragma once

#include <tovik/address.h>

#include <optional>
#include <string>
#include <string_view>

namespace ftp_serve {

/// Parses the argument of PORT (RFC 959, 4.1.2): six numbers from 0 to 255 joined by commas, the port not 0. Returns
/// null for anything else.
std::optional<tovik::Address> parseHostPort(std::string_view text);

std::string printHostPort(const tovik::Address& address);

/// Whether two addresses have the same host, whatever their ports.
bool isSameHost(const tovik::Address& a, const tovik::Address& b);

}  // namespace ftp_serve
