#pragma once

#include <string>

#include "real_server.h"

namespace test_servers {

/// The account of the servers that keep a user database of their own.
Account virtualAccount();

/// Its line in a file like the system's own list of accounts (passwd(5)): the files are those that daemon may read, or,
/// when somebody else than root starts the server, those that this one may read.
std::string virtualAccountLine(const std::string& home);

}  // namespace test_servers
