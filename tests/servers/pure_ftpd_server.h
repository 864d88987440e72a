#pragma once

#include "real_server.h"

namespace test_servers {

/// Pure-FTPd, with a user database of its own. Only root can start it.
class PureFtpdServer : public RealServer {
 public:
  explicit PureFtpdServer(const std::filesystem::path& root);

 private:
  std::vector<std::string> prepare(std::uint16_t port) const override;
  void makeUserDatabase() const;
};

}  // namespace test_servers
