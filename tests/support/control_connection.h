#pragma once

#include <tovik/address.h>

#include <string>

#include "support/loopback_socket.h"

namespace testing_support {

/// The client's end of an FTP control connection, driven by hand. Everything blocks.
///
/// Errors: those of LoopbackSocket.
class ControlConnection {
 public:
  /// Connects, and waits for the greeting.
  explicit ControlConnection(const tovik::Address& server);
  explicit ControlConnection(unsigned short port) : ControlConnection(loopback(port)) {}

  /// All lines of it; empty when the server has closed the connection instead.
  const std::string& greeting() const { return greeting_; }

  void logIn(const std::string& user = "u", const std::string& password = "p");
  /// Without waiting for a reply. The line end is added.
  void send(const std::string& command) { sendRaw(command + "\r\n"); }
  void sendRaw(const std::string& bytes) { socket_.send(bytes); }
  /// The last line of the next reply, without its end; "" at the connection's end.
  std::string reply();
  std::string ask(const std::string& command);
  /// The code alone.
  std::string code(const std::string& command) { return ask(command).substr(0, 3); }
  [[nodiscard]] bool waitForEnd() const { return socket_.waitForEnd(); }

  /// The port of a data connection in passive mode.
  unsigned short passivePort();
  /// The data connection in passive mode.
  LoopbackSocket passive();
  /// A listener that the server connects to.
  LoopbackSocket active();

 private:
  std::string readLine();

  const LoopbackSocket socket_;
  std::string unread_;
  std::string greeting_;
};

}  // namespace testing_support
