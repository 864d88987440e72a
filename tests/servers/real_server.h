#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "server_process.h"
#include "support/temp_directory.h"

namespace test_servers {

/// Who may log in.
struct Account {
  std::string user;
  std::string password;
};

/// A real FTP server on a loopback port, with a configuration of its own in a temporary directory: one account, read
/// only, active and passive data connections, no limits that a test could reach.
///
/// What it serves must be readable for every account: the servers hand files out with fewer rights than they start
/// with. A server that confines its sessions to the root can do so only when root starts it.
///
/// Threads: made and used by one thread; the server ends when that thread does.
class RealServer {
 public:
  RealServer(const RealServer&) = delete;
  RealServer& operator=(const RealServer&) = delete;
  virtual ~RealServer();

  const std::string& name() const { return name_; }
  const std::string& host() const { return host_; }
  std::uint16_t port() const { return port_; }
  const std::filesystem::path& root() const { return root_; }
  const Account& account() const { return account_; }

 protected:
  /// name: the server's folder where scripts/setup --tests puts it.
  RealServer(std::string name, const std::filesystem::path& root, Account account);

  /// Starts the server and returns once it accepts connections; each kind calls it when it is made. Throws
  /// std::runtime_error, with what the server said, when it does not come up, and when there is no such program.
  void start(const std::filesystem::path& program);

  /// Writes the configuration for a port and gives the command line that runs the server with it, in the foreground.
  virtual std::vector<std::string> prepare(std::uint16_t port) const = 0;

  /// A path in the server's folder.
  static std::filesystem::path installed(const std::string& path);
  /// Writes a file that everybody may read into the server's temporary directory, and gives its path.
  std::string write(const std::string& file, const std::string& text) const;
  /// The same, for a file that only its owner may read: the servers refuse passwords that others could see.
  std::string writeSecret(const std::string& file, const std::string& text) const;
  std::string pathOf(const std::string& file) const { return directory_.path() / file; }
  /// What must stand in the server's greeting: it tells this server from one that took the port in between.
  std::string mark() const { return directory_.path().filename(); }

 private:
  bool startOn(std::uint16_t port);
  bool greets(std::uint16_t port);

  const testing_support::TempDirectory directory_;
  const std::string name_;
  const std::filesystem::path root_;
  const Account account_;
  const std::string host_ = "127.0.0.1";
  std::uint16_t port_ = 0;
  std::string greeting_;
  std::unique_ptr<ServerProcess> process_;
};

}  // namespace test_servers
