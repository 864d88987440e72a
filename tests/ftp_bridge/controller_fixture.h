#pragma once

#include <gmock/gmock.h>

#include <cstddef>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "recording_client.h"
#include "support/fake_channel.h"
#include "support/leak_check.h"
#include "support/log_capture.h"
#include "support/scoped_dispatcher.h"

namespace tovik::ftp {

using cmd_e = Controller::cmd_e;

/// Somebody with an account, and a server that is asked for nothing.
inline connection_data_t someConnection() {
  connection_data_t data{Address(9), Address(0), "me", "secret", "books"};
  EXPECT_TRUE(data.server.set_host("127.0.0.1"));
  EXPECT_TRUE(data.local.set_host("127.0.0.1"));
  return data;
}

/// A controller whose control channel is a fake: what a server would say is said by the test, on its own thread.
class ControllerFixture : public ::testing::Test {
 protected:
  ControllerFixture() {
    interpreter().onChannelUp(&channel);
    loggedBefore_ = std::ssize(log.entries());
  }
  ~ControllerFixture() override {
    end();
    for (const auto& entry : log.entries()) {
      EXPECT_FALSE(entry.file.empty());
      EXPECT_GT(entry.line, 0);
      EXPECT_THAT(entry.text, ::testing::StartsWith("Tovik: "));
    }
  }

  /// Destroys the controller, and frees what a failed transfer left there: its destructor does not.
  void end() {
    if (controller == nullptr) return;
    EXPECT_TRUE(controller->stop());
    delete std::exchange(controller->received, nullptr);
    controller.reset();
  }

  ProtocolInterpreter& interpreter() { return controller->interpreter; }

  /// Makes the session one that is logged in.
  void loggedIn() { interpreter().sessionState = 1; }

  /// A line of the server's, without its end.
  void serverSends(const std::string& line) {
    const std::string whole = line + "\r\n";
    interpreter().onData(&channel, whole.data(), whole.size(), nullptr);
  }

  /// Gives the controller what a data connection received.
  void dataArrives(const std::string& data) { controller->onDataReceived(new std::string(data)); }

  /// What was logged since the control channel came up.
  std::vector<std::string> logged(int fromLevel = 0) const {
    std::vector<std::string> texts;
    for (const auto& entry : records())
      if (entry.level >= fromLevel) texts.push_back(entry.text);
    return texts;
  }
  testing_support::LogCapture::Entries records() const {
    auto entries = log.entries();
    entries.erase(entries.begin(), entries.begin() + loggedBefore_);
    return entries;
  }

  /// Forgets the calls and records so far.
  void forget() {
    channel.clear();
    loggedBefore_ = std::ssize(log.entries());
  }

  const testing_support::LeakCheck leakCheck_{};
  testing_support::LogCapture log;
  const testing_support::ScopedDispatcher dispatcher{"ftp rig"};
  testing_support::FakeChannel channel;
  RecordingClient client;
  std::unique_ptr<Controller> controller =
      std::make_unique<Controller>(someConnection(), &client, dispatcher.name(), 0, nullptr);

 private:
  std::ptrdiff_t loggedBefore_ = 0;
};

}  // namespace tovik::ftp
