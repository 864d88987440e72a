#pragma once

#include <gmock/gmock.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "recording_client.h"
#include "scripted_server.h"
#include "support/leak_check.h"
#include "support/log_capture.h"
#include "support/manual_clock.h"
#include "support/scoped_dispatcher.h"

namespace tovik::ftp {

constexpr bool passiveMode = true;
constexpr bool activeMode = false;

/// A controller and a scripted server, over the loopback interface. At the end the script has been played, each
/// control connection has been reported as ended once, and nothing is left behind.
class Session : public ::testing::Test {
 protected:
  Session() = default;
  ~Session() override = default;

  void TearDown() override {
    EXPECT_TRUE(server.played());
    destroyController();
    EXPECT_EQ(client.callsOf("onDisconnected"), disconnections);
    for (const auto& entry : log.entries()) {
      EXPECT_FALSE(entry.file.empty());
      EXPECT_GT(entry.line, 0);
      EXPECT_THAT(entry.text, ::testing::StartsWith("Tovik: "));
    }
  }

  /// The controller's destructor does not.
  void freeWhatAFailedTransferLeft() {
    if (controller != nullptr) onWorker([this] { delete std::exchange(controller->received, nullptr); });
  }
  /// At any moment: what it leaves may still arrive until it reports the end of the control connection.
  void destroyController() {
    freeWhatAFailedTransferLeft();
    client.whenever("onDisconnected", [going = controller.get()] { delete std::exchange(going->received, nullptr); });
    controller.reset();
    client.whenever("onDisconnected", nullptr);
  }

  /// Connects from 127.0.0.2.
  connection_data_t connection() const {
    connection_data_t data{server.address(), Address(0), "me", "secret", "books"};
    EXPECT_TRUE(data.local.set_host("127.0.0.2"));
    return data;
  }
  std::unique_ptr<Controller> make(int transportSetting = 0) {
    return std::make_unique<Controller>(connection(), &client, dispatcher.name(), transportSetting, nullptr);
  }

  void start() {
    const Result started = controller->start();
    EXPECT_TRUE(started) << started.message;
    if (started) ++disconnections;
  }

  /// Does something as soon as the login has succeeded, and starts.
  void onceLoggedIn(RecordingClient::Action action) {
    client.onConnectedDo(std::move(action));
    start();
  }

  /// For a script: goes on once a text has been logged.
  ScriptedServer& serverAfter(const std::string& logged) {
    return server.until([this, logged] { return log.waitFor(logged); }, "\"" + logged + '"');
  }

  /// Moves time, and returns when the limits that this reaches have done their work.
  void pass(testing_support::ManualClock::Duration time) { clock.advance(time, *controller->transport); }

  /// Looks at the controller from the thread that serves it.
  void onWorker(const std::function<void()>& look) { controller->transport->call(look); }

  /// The commands that the server received.
  std::vector<std::string> commands() const {
    std::vector<std::string> texts;
    for (const auto& line : server.transcript())
      if (line.starts_with("< ")) texts.push_back(line.substr(2));
    return texts;
  }

  const testing_support::LeakCheck leakCheck_{};
  testing_support::LogCapture log;
  testing_support::ManualClock clock;
  const testing_support::ScopedDispatcher dispatcher{"ftp session", 1, clock};
  ScriptedServer server;
  RecordingClient client;
  std::unique_ptr<Controller> controller = make();
  long disconnections = 0;  // expected
};

}  // namespace tovik::ftp
