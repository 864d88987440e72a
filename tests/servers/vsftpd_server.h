#pragma once

#include "real_server.h"

namespace test_servers {

/// vsftpd. Its account is the anonymous one; it refuses every other user by name.
class VsftpdServer : public RealServer {
 public:
  explicit VsftpdServer(const std::filesystem::path& root, const std::filesystem::path& program = installed());

  static std::filesystem::path installed();

 private:
  std::vector<std::string> prepare(std::uint16_t port) const override;

  const std::filesystem::path program_;
};

}  // namespace test_servers
