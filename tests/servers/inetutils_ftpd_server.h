#pragma once

#include "real_server.h"

namespace test_servers {

/// The ftpd of inetutils, started for each connection by a little super-server. Its account is the anonymous one, which
/// it looks for among the system's accounts: it is shown a list with that account in it. Only root can start it.
class InetutilsFtpdServer : public RealServer {
 public:
  explicit InetutilsFtpdServer(const std::filesystem::path& root);

 private:
  std::vector<std::string> prepare(std::uint16_t port) const override;
};

}  // namespace test_servers
