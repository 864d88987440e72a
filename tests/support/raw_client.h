#pragma once

#include <tovik/descriptor.h>

#include <string>

namespace testing_support {

/// A control connection that a test drives by hand.
class RawClient {
 public:
  /// Takes the greeting.
  explicit RawClient(unsigned short port);

  void logIn(const std::string& user = "u", const std::string& password = "p");
  /// Without waiting for replies. The line end is added.
  void send(const std::string& command);
  void sendRaw(const std::string& bytes);
  /// The next reply, without its line end; "" at the connection's end.
  std::string reply();
  std::string ask(const std::string& command);
  /// The code alone.
  std::string code(const std::string& command) { return ask(command).substr(0, 3); }

  /// The port of a data connection in passive mode.
  unsigned short passivePort();
  tovik::Descriptor passive();
  /// Names a listener of the test's own.
  tovik::Descriptor active();

 private:
  tovik::Descriptor socket_;
  std::string received_;
};

}  // namespace testing_support
