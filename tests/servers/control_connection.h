#pragma once

#include <cstdint>
#include <string>

namespace test_servers {

/// One FTP control connection, spoken by hand. Everything blocks, for seconds at most.
class ControlConnection {
 public:
  /// Throws std::system_error where nobody accepts.
  ControlConnection(const std::string& host, std::uint16_t port);
  ControlConnection(const ControlConnection&) = delete;
  ControlConnection& operator=(const ControlConnection&) = delete;
  ~ControlConnection();

  /// Sends a command and gives the line that answers it. Throws as readLine does.
  std::string ask(const std::string& command);
  /// The next line, without its end. Throws std::system_error when it does not come in time, std::runtime_error when
  /// the peer has closed.
  std::string readLine();
  /// Everything up to the peer's close. Throws std::system_error when that does not come in time.
  std::string readAll();

 private:
  bool readMore();

  const int socket_;
  std::string unread_;
};

}  // namespace test_servers
