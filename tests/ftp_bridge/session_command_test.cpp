#include <string>

#include "session_fixture.h"

namespace tovik::ftp {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// Directory commands and the ends of sessions, over a connection.
class CommandSession : public Session {
 protected:
  CommandSession() { server.login(); }

  void pwdOnceLoggedIn() {
    onceLoggedIn([&] { EXPECT_TRUE(controller->getPwd()); });
  }

  /// After a 421 or the like: reported once, and busy with the command that was in progress.
  void endsDuring(const std::string& command) {
    ASSERT_TRUE(client.waits("onDisconnected"));
    EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onDisconnected"));
    EXPECT_EQ(controller->cdUp().message, command + " still active");
  }
};

TEST_F(CommandSession, TakesCommandsFromTheHostsThreadBetweenReplies) {
  start();
  ASSERT_TRUE(client.waits("onConnected"));
  server.expect("PWD").reply("257 \"/\"").expect("CWD a").reply("250 a");
  EXPECT_TRUE(controller->getPwd());
  ASSERT_TRUE(client.waits("onPwd"));
  EXPECT_TRUE(controller->changeCwd("a"));
  ASSERT_TRUE(client.waits("onCwd"));
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onPwd /", "onCwd a"));
}

TEST_F(CommandSession, LogsOut) {
  server.expect("QUIT").reply("221 Bye").expectClose();
  onceLoggedIn([&] { EXPECT_TRUE(controller->sendLogout()); });
  endsDuring("quit");
  EXPECT_THAT(log.texts(), Contains("Tovik: protocol interpreter channel down local"));
}

TEST_F(CommandSession, EndsWhenTheServerResetsInTheMiddleOfACommand) {
  server.expect("PWD").reset();
  pwdOnceLoggedIn();
  endsDuring("pwd");
  EXPECT_THAT(log.texts(), Contains("Tovik: protocol interpreter channel down failed"));
}

TEST_F(CommandSession, DropsTheRepliesBehindServiceClosing) {
  server.expect("PWD").reply("421 Closing\r\n257 \"/\"").expectClose();
  pwdOnceLoggedIn();
  endsDuring("pwd");
  EXPECT_EQ(log.count("Tovik: [FTP] 257 \"\"/\"\" "), 0);
}

TEST_F(CommandSession, KeepsAReplyOpenThatADroppedConnectionCutOff) {
  server.expect("PWD").reply("257-\"/\"").close();
  pwdOnceLoggedIn();
  endsDuring("pwd");
  server.accept().reply("220 Ready");
  start();
  EXPECT_TRUE(log.waitFor("Tovik: protocol interpreter: wrong return code"));
}

TEST_F(CommandSession, SendsNothingOnAConnectionThatHasEnded) {
  server.close();
  start();
  ASSERT_TRUE(client.waits("onDisconnected"));
  EXPECT_TRUE(controller->getPwd());
  EXPECT_EQ(log.texts().back(), "Tovik: [FTP] PWD");
  EXPECT_THAT(log.texts(30), IsEmpty());
}

}  // namespace
}  // namespace tovik::ftp
