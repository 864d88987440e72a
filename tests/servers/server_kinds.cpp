#include "server_kinds.h"

#include <unistd.h>

#include "inetutils_ftpd_server.h"
#include "proftpd_server.h"
#include "pure_ftpd_server.h"
#include "pyftpdlib_server.h"
#include "vsftpd_server.h"

namespace test_servers {
namespace {

template <class Server>
std::unique_ptr<RealServer> makeServer(const std::filesystem::path& root) {
  return std::make_unique<Server>(root);
}

}  // namespace

bool ServerKind::startable() const { return !rootOnly || geteuid() == 0; }

std::vector<ServerKind> serverKinds() {
  return {{"Vsftpd", false, &makeServer<VsftpdServer>},
          {"Proftpd", false, &makeServer<ProftpdServer>},
          {"PureFtpd", true, &makeServer<PureFtpdServer>},
          {"Pyftpdlib", false, &makeServer<PyftpdlibServer>},
          {"InetutilsFtpd", true, &makeServer<InetutilsFtpdServer>}};
}

}  // namespace test_servers
