#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include "server_process.h"
#include "temporary_directory.h"

namespace test_servers {

/// A real vsftpd on a loopback port: anonymous login, read only, active and passive data connections, no limits.
///
/// Started by root it hands files out as the account "daemon", so what it serves must be readable for every account.
/// Started by anybody else it runs as that account and can't confine a session: paths are then the whole system's.
///
/// Threads: made and used by one thread; the server ends when that thread does.
class VsftpdServer {
 public:
  /// Returns once the server accepts connections. Throws std::runtime_error, with what the server said, when it does
  /// not come up, and when there is no such program.
  explicit VsftpdServer(const std::filesystem::path& root, const std::filesystem::path& program = installed());

  /// Where scripts/setup --tests puts the program.
  static std::filesystem::path installed();

  const std::string& host() const { return host_; }
  std::uint16_t port() const { return port_; }
  const std::filesystem::path& root() const { return root_; }

 private:
  bool startOn(std::uint16_t port);
  void writeConfiguration(std::uint16_t port) const;
  bool answersOn(std::uint16_t port) const;
  std::filesystem::path configuration() const { return directory_.path() / "vsftpd.conf"; }
  std::filesystem::path output() const { return directory_.path() / "output"; }
  std::string banner() const { return directory_.path().filename(); }

  const TemporaryDirectory directory_;
  const std::filesystem::path root_;
  const std::filesystem::path program_;
  const std::string host_ = "127.0.0.1";
  std::uint16_t port_ = 0;
  std::unique_ptr<ServerProcess> process_;
};

}  // namespace test_servers
