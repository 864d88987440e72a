#pragma once

#include <functional>
#include <string>

#include "support/loopback_socket.h"

namespace tovik::ftp {

using Misdeed = std::function<void(const testing_support::LoopbackSocket&)>;

/// Sends a block so many times, fewer when the client ends the connection.
Misdeed pours(const std::string& block, long times);

/// Sends a block over and over until the client ends the connection. Fails when it takes 256 MiB.
Misdeed poursForEver(const std::string& block);

/// How many replies a flood has: TOVIK_HOSTILE_REPLIES of the environment, or 20,000.
long floodSize();

}  // namespace tovik::ftp
