#pragma once

#include <functional>
#include <string>
#include <vector>

namespace tovik::ftp {

/// What the server does next, or the callback that must have come by then.
struct Step {
  enum class Kind { expect, expectPort, reply, offer, data, endData, callback };
  Kind kind;
  std::string text;
  /// Of a final reply that comes before its data: the callback when the data ends after these bytes.
  std::function<std::string(const std::string& data)> report = nullptr;
};

/// A session as a transcript: what the client asks for, one command after each outcome, and the server's part.
class Scenario {
 public:
  explicit Scenario(std::string name) : name_(std::move(name)) {}

  /// PWD, CWD directory, CDUP, NLST mode, RETR file mode, QUIT; a mode is passive or active.
  Scenario& runs(std::vector<std::string> commands);

  Scenario& expect(const std::string& command) { return add({Step::Kind::expect, command}); }
  Scenario& expectPort() { return add({Step::Kind::expectPort, "PORT"}); }
  /// The last line end is added.
  Scenario& reply(const std::string& reply) { return add({Step::Kind::reply, reply + "\r\n"}); }
  /// A final reply to NLST or RETR that overtakes the data.
  Scenario& replyFirst(const std::string& reply, std::function<std::string(const std::string&)> report) {
    return add({Step::Kind::reply, reply + "\r\n", std::move(report)});
  }
  /// The reply to PASV, with the given text around the address.
  Scenario& offer(const std::string& before = "227 Entering Passive Mode (", const std::string& after = ").");
  Scenario& data(const std::string& bytes) { return add({Step::Kind::data, bytes}); }
  Scenario& endData() { return add({Step::Kind::endData, ""}); }
  Scenario& callback(const std::string& line) { return add({Step::Kind::callback, line}); }

  /// Greeting, USER, PASS, and the client's onConnected.
  Scenario& login();
  Scenario& passive() { return expect("PASV").offer(); }
  Scenario& active() { return expectPort().reply("200 PORT command successful"); }

  const std::string& name() const { return name_; }
  const std::vector<std::string>& commands() const { return commands_; }
  const std::vector<Step>& steps() const { return steps_; }
  /// All callbacks, onDisconnected included.
  std::vector<std::string> outcome() const;

 private:
  Scenario& add(Step step);

  std::string name_;
  std::vector<std::string> commands_;
  std::vector<Step> steps_;
};

/// For the names of parameterized tests.
void PrintTo(const Scenario& scenario, std::ostream* out);

}  // namespace tovik::ftp
