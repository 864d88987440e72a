#pragma once

#include "default_type.h"
#include "real_server.h"

namespace test_servers {

/// pyftpdlib, with an authorizer of its own.
class PyftpdlibServer : public RealServer {
 public:
  explicit PyftpdlibServer(const std::filesystem::path& root, DefaultType type = DefaultType::binary);

 private:
  std::vector<std::string> prepare(std::uint16_t port) const override;

  const DefaultType type_;
};

}  // namespace test_servers
