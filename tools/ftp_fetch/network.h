#pragma once

#include <tovik/address.h>
#include <tovik/result.h>

#include <string>

namespace ftp_fetch {

/// Looks up a host's IPv4 address. Sets the host of `address`, not its port. May block on name servers.
tovik::Result resolveHost(const std::string& host, tovik::Address& address);

/// Finds the local address from which packets to a server are sent, with port 0. Sends nothing.
tovik::Result findLocalAddress(const tovik::Address& server, tovik::Address& local);

}  // namespace ftp_fetch
