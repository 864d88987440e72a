#include <chrono>
#include <string>

#include "session_fixture.h"

namespace tovik::ftp {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing_support::LoopbackSocket;

const std::string channelUp = "Tovik: protocol interpreter up";

/// Logins over a connection. A login that succeeds ends in onConnected.
class LoginSession : public Session {
 protected:
  /// Plays what is scripted so far, up to a successful login.
  void succeeds() {
    start();
    ASSERT_TRUE(client.waits("onConnected"));
    ASSERT_TRUE(server.played());
    EXPECT_THAT(client.lines(), ElementsAre("onConnected"));
    onWorker([&] {
      EXPECT_EQ(controller->interpreter.sessionState, 1);
      EXPECT_EQ(controller->interpreter.pending, pending_e::none);
    });
  }
};

TEST_F(LoginSession, LogsEveryStepInItsOrder) {
  server.login();
  succeeds();
  EXPECT_THAT(log.texts(), ElementsAre(channelUp, "Tovik: [FTP] 220 \"Ready\" ", "Tovik: [FTP] USER me",
                                       "Tovik: [FTP] 331 \"Password?\" ", "Tovik: [FTP] PASS secret",
                                       "Tovik: [FTP] 230 \"Hello\" "));
  EXPECT_THAT(log.texts(30), IsEmpty());
}

TEST_F(LoginSession, TakesACommandBeforeItHasSucceededAndThenFails) {
  server.accept().reply("220 Ready").expect("USER me");
  start();
  ASSERT_TRUE(server.played());
  EXPECT_TRUE(controller->getPwd()) << "only the command in progress is looked at";
  server.expect("PWD").reply("230 Hello");
  EXPECT_TRUE(log.waitFor("Tovik: protocol interpreter: bad pending command 6 while down"));
  EXPECT_THAT(client.lines(), IsEmpty());
}

TEST_F(LoginSession, EndsWhenTheServerDropsItsConnection) {
  server.accept().reply("220 Ready").expect("USER me").close();
  start();
  ASSERT_TRUE(client.waits("onDisconnected"));
  EXPECT_THAT(log.texts(), Contains("Tovik: protocol interpreter channel down peer"));
}

TEST_F(LoginSession, EndsOnServiceClosing) {
  server.accept().reply("421 Too many").expectClose();
  start();
  ASSERT_TRUE(client.waits("onDisconnected"));
  EXPECT_THAT(client.lines(), ElementsAre("onDisconnected"));
  EXPECT_THAT(log.texts(), Contains("Tovik: protocol interpreter channel down local"));
}

TEST_F(LoginSession, ConnectsFromTheLocalAddress) {
  server.login();
  succeeds();
  EXPECT_THAT(server.controlPeer(), ::testing::StartsWith("127.0.0.2:"));
}

TEST_F(LoginSession, StartsOnASecondConnectionWithASecondStart) {
  server.login();
  start();
  ASSERT_TRUE(client.waits("onConnected"));
  server.accept().reply("220 Ready");
  start();
  EXPECT_TRUE(log.waitFor("Tovik: protocol interpreter: bad pending command 0 while up"));
  EXPECT_EQ(log.count(channelUp), 2);
}

TEST_F(LoginSession, StartsAgainAfterADisconnection) {
  server.login().close();
  start();
  ASSERT_TRUE(client.waits("onDisconnected"));
  server.login();
  start();
  ASSERT_TRUE(client.waits("onConnected", 2));
}

TEST_F(LoginSession, WorksOnDispatcherNumberZeroUnderAnUnknownName) {
  controller = std::make_unique<Controller>(connection(), &client, "nobody", 0, nullptr);
  server.login();
  succeeds();
  EXPECT_THAT(log.texts(30), ElementsAre("Tovik: ftp control: unknown dispatcher nobody"));
}

TEST_F(LoginSession, FailsToStartWhereNobodyListens) {
  LoopbackSocket listener = LoopbackSocket::listening();
  const Address nobody = listener.address();
  listener.close();
  controller->connection.server = nobody;
  const Result started = controller->start();
  EXPECT_FALSE(started);
  EXPECT_NE(started.message, "");
}

TEST_F(LoginSession, IsEndedWhenAMuteServerPassesTheTransportsLimit) {
  controller = make(1);
  server.accept().expectClose();
  start();
  pass(std::chrono::seconds(1));
  ASSERT_TRUE(client.waits("onDisconnected"));
  EXPECT_THAT(log.texts(30), ElementsAre("Tovik: protocol_interpreter: nothing received within the time limit"));
}

}  // namespace
}  // namespace tovik::ftp
