#pragma once

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "peer.h"
#include "stray_replies.h"
#include "support/leftovers.h"
#include "support/log_capture.h"
#include "support/scoped_dispatcher.h"
#include "support/temp_directory.h"
#include "waiting_client.h"

namespace real_servers {

/// One session with a server: the verbs of the suites below. Made from the server's thread.
class Session {
 public:
  /// strays: where a server's replies go that come after the file that they are about; null when there are none.
  /// firstByteLimit: in seconds; 0 sets none.
  Session(const test_servers::RealServer& server, const std::string& user, bool passive, StrayReplies* strays,
          int firstByteLimit = 0);

  WaitingClient& client() { return client_; }
  tovik::ftp::Controller& controller() { return controller_; }

  void logIn();
  void logOut();
  /// The current directory.
  std::string directory();
  void enter(const std::string& directory);
  /// Waits for a file that has been asked for, whole, and for all that the server has to say about it.
  void expectContent(const std::string& name, const std::string& content);
  /// Asks for the file, too.
  void expectFile(const std::string& name, const std::string& content);

 private:
  WaitingClient client_;
  tovik::ftp::Controller controller_;
  const bool passive_;
  StrayReplies* const strays_;
};

/// Starts the server of the suite's peer, with a directory "pub" in its root, and proves that its sessions leave
/// nothing behind.
class WithServer : public testing::Test {
 protected:
  ~WithServer() override;

  /// Skips the test where the server can't be started. straysAfterFiles: whether a reply follows each file.
  void startServer(const test_servers::ServerKind& kind, bool straysAfterFiles);
  const test_servers::RealServer& server() const { return *server_; }
  /// A session for the server's account.
  std::unique_ptr<Session> makeSession(bool passive, int firstByteLimit = 0);

  /// Adds a file, or a directory, to the server's root.
  void put(const std::string& name, const std::string& content) const;
  void link(const std::string& name, const std::string& further) const;
  void makeDirectory(const std::string& name) const;

  /// What every session logs, kept: the log is where a session tells of what it doesn't report.
  const testing_support::LogCapture& log() const { return *log_; }

 private:
  const testing_support::TempDirectory root_;
  std::unique_ptr<test_servers::RealServer> server_;
  std::optional<testing_support::LogCapture> log_;
  std::optional<StrayReplies> strays_;
  std::optional<testing_support::ScopedDispatcher> dispatcher_;
  testing_support::Held heldBefore_{};
};

}  // namespace real_servers
