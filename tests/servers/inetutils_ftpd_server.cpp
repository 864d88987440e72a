#include "inetutils_ftpd_server.h"

namespace test_servers {

InetutilsFtpdServer::InetutilsFtpdServer(const std::filesystem::path& root)
    : RealServer("inetutils-ftpd", root, {"anonymous", "tester@example.org"}) {
  start(installed("inetutils-ftpd/usr/sbin/ftpd"));
}

std::vector<std::string> InetutilsFtpdServer::prepare(std::uint16_t port) const {
  return {
      TEST_SUPER_SERVER,
      host(),
      std::to_string(port),
      "/usr/bin/env",
      "LD_PRELOAD=libnss_wrapper.so",
      "NSS_WRAPPER_PASSWD=" + write("passwd", "root:x:0:0::/:/bin/sh\nftp:x:1:1::" + root().string() + ":/bin/sh\n"),
      "NSS_WRAPPER_GROUP=" + write("group", "root:x:0:\nftp:x:1:\n"),
      "NSS_WRAPPER_HOSTNAME=" + mark(),
      installed("inetutils-ftpd/usr/sbin/ftpd"),
      "--anonymous-only",
      "--ipv4"};
}

}  // namespace test_servers
