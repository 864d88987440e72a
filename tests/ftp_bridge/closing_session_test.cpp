#include <functional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "session_fixture.h"
#include "support/watchdog.h"

// From the moment in which its destructor closes it, a session takes no command, not even from the callbacks that the
// destructor itself delivers.

namespace tovik::ftp {
namespace {

struct Operation {
  std::string name;
  std::function<Result(Controller&)> run;
};

void PrintTo(const Operation& operation, std::ostream* out) { *out << operation.name; }

std::vector<Operation> operations() {
  return {{"Start", [](auto& session) { return session.start(); }},
          {"Pwd", [](auto& session) { return session.getPwd(); }},
          {"Cwd", [](auto& session) { return session.changeCwd("a"); }},
          {"Cdup", [](auto& session) { return session.cdUp(); }},
          {"PassiveNlst", [](auto& session) { return session.getNlst(passiveMode); }},
          {"ActiveNlst", [](auto& session) { return session.getNlst(activeMode); }},
          {"PassiveRetr", [](auto& session) { return session.getFile("a", passiveMode); }},
          {"ActiveRetr", [](auto& session) { return session.getFile("a", activeMode); }},
          {"Quit", [](auto& session) { return session.sendLogout(); }}};
}

class ClosingSession : public Session {
 protected:
  /// The operation is tried in the callback that reports the end.
  void triesInTheEnd(const Operation& operation) {
    Controller& session = *controller;
    client.whenever("onDisconnected", [&session, operation] {
      const Result result = operation.run(session);
      EXPECT_FALSE(result);
      EXPECT_FALSE(result.message.empty());
    });
  }
  void expectOnlyTheEnd() {
    EXPECT_THAT(client.lines(), ::testing::ElementsAre("onConnected", "onDisconnected"));
    server.expectClose();
    EXPECT_TRUE(server.played());
  }

  const testing_support::Watchdog watchdog;
};

// The session could be started again while it was destroyed, and its next transfer used what had been freed.
TEST_F(ClosingSession, CannotBeRestartedDuringATransfer) {
  server.login().active().expect("RETR file").reply("150 Here").data("half");
  triesInTheEnd(operations().front());
  onceLoggedIn([this] { EXPECT_TRUE(controller->getFile("file", activeMode)); });
  ASSERT_TRUE(server.played());
  controller.reset();
  expectOnlyTheEnd();
}

class ClosingSessionRefuses : public ClosingSession, public ::testing::WithParamInterface<Operation> {};

// The end was reported before the session was closed.
TEST_P(ClosingSessionRefuses, WhenDestroyedByAnotherThread) {
  server.login();
  triesInTheEnd(GetParam());
  start();
  ASSERT_TRUE(client.waits("onConnected")) << server.played();
  controller.reset();
  expectOnlyTheEnd();
}

// The same.
TEST_P(ClosingSessionRefuses, WhenDestroyedInsideACallback) {
  server.login();
  triesInTheEnd(GetParam());
  onceLoggedIn([this] { controller.reset(); });
  ASSERT_TRUE(client.waits("onConnected")) << server.played();
  expectOnlyTheEnd();
}

INSTANTIATE_TEST_SUITE_P(To, ClosingSessionRefuses, ::testing::ValuesIn(operations()),
                         [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace tovik::ftp
