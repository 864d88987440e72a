#pragma once

#include <tovik/address.h>
#include <tovik/result.h>

#include <string>

namespace ftp_fetch {

/// Asks the system for a host's IPv4 address; sets the host of `address`, not its port. May wait for name servers.
tovik::Result resolveHost(const std::string& host, tovik::Address& address);

/// The local address that packets to a server leave from, port 0. Sends nothing.
tovik::Result findLocalAddress(const tovik::Address& server, tovik::Address& local);

}  // namespace ftp_fetch
