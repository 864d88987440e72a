#include "pyftpdlib_server.h"

#include "virtual_account.h"

namespace test_servers {
namespace {

const char* const packages = "python3-pyftpdlib/usr/lib/python3/dist-packages";

}  // namespace

PyftpdlibServer::PyftpdlibServer(const std::filesystem::path& root, DefaultType type)
    : RealServer("python3-pyftpdlib", root, virtualAccount()), type_(type) {
  start(installed(std::string(packages) + "/pyftpdlib"));
}

std::vector<std::string> PyftpdlibServer::prepare(std::uint16_t port) const {
  // By its path: another Python may come first in PATH.
  return {"/usr/bin/python3",
          "-B",
          TEST_SERVERS_SOURCES "/pyftpdlib_server.py",
          installed(packages),
          host(),
          std::to_string(port),
          mark(),
          root(),
          account().user,
          account().password,
          type_ == DefaultType::binary ? "i" : "a"};
}

}  // namespace test_servers
