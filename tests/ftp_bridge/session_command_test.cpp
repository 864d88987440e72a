#include <string>

#include "session.h"

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

  /// After a 421 or the like: told once, and busy with the command that was in progress.
  void endsDuring(const std::string& command) {
    ASSERT_TRUE(client.waits("onDisconnected"));
    EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onDisconnected"));
    EXPECT_EQ(controller->cdUp().message, command + " still active");
  }
};

TEST_F(CommandSession, AsksForTheDirectory) {
  server.expect("PWD").reply("257 \"/usr/data\" is current directory");
  pwdOnceLoggedIn();
  ASSERT_TRUE(client.waits("onPwd"));
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onPwd /usr/data"));
}

TEST_F(CommandSession, ReportsAFailureToTellTheDirectory) {
  server.expect("PWD").reply("550 Gone");
  pwdOnceLoggedIn();
  ASSERT_TRUE(client.waits("onPwdFailed"));
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onPwdFailed Gone"));
}

TEST_F(CommandSession, ReportsADirectoryWithoutQuotes) {
  server.expect("PWD").reply("257 /usr/data");
  pwdOnceLoggedIn();
  ASSERT_TRUE(client.waits("onPwdFailed"));
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onPwdFailed couldn't parse /usr/data"));
}

TEST_F(CommandSession, ChangesTheDirectory) {
  server.expect("CWD pub").reply("250 Now in pub");
  onceLoggedIn([&] { EXPECT_TRUE(controller->changeCwd("pub")); });
  ASSERT_TRUE(client.waits("onCwd"));
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onCwd Now in pub"));
}

TEST_F(CommandSession, ReportsAFailureToChangeTheDirectory) {
  server.expect("CWD ").reply("501 Which?");
  onceLoggedIn([&] { EXPECT_TRUE(controller->changeCwd("")); });
  ASSERT_TRUE(client.waits("onCwdFailed"));
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onCwdFailed Which?"));
}

TEST_F(CommandSession, GoesToTheParentDirectory) {
  server.expect("CDUP").reply("250 Not this code").reply("200 Up");
  onceLoggedIn([&] { EXPECT_TRUE(controller->cdUp()); });
  ASSERT_TRUE(client.waits("onCdup"));
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onCdup Up"));
  EXPECT_THAT(log.texts(30), ElementsAre("Tovik: protocol interpreter: cdup: unknown reply 250"));
}

TEST_F(CommandSession, ReportsAFailureToGoToTheParentDirectory) {
  server.expect("CDUP").reply("502 Never");
  onceLoggedIn([&] { EXPECT_TRUE(controller->cdUp()); });
  ASSERT_TRUE(client.waits("onCdupFailed"));
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onCdupFailed Never"));
}

TEST_F(CommandSession, TakesRepliesOfManyLines) {
  server.expect("PWD").reply("257-\"/a\" first\r\n 250 no code\r\n257 \"/b\" last");
  pwdOnceLoggedIn();
  ASSERT_TRUE(client.waits("onPwd"));
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onPwd /a"));
}

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

TEST_F(CommandSession, RefusesASecondCommandAndSendsNothingForIt) {
  server.expect("PWD").reply("257 \"/\"").expect("CDUP").reply("200 Up");
  client.whenever("onPwd", [&] { EXPECT_TRUE(controller->cdUp()); });
  onceLoggedIn([&] {
    EXPECT_TRUE(controller->getPwd());
    EXPECT_EQ(controller->changeCwd("a").message, "pwd still active");
  });
  ASSERT_TRUE(client.waits("onCdup"));
  EXPECT_THAT(commands(), ElementsAre("USER me", "PASS secret", "PWD", "CDUP"));
}

TEST_F(CommandSession, LogsOut) {
  server.expect("QUIT").reply("221 Bye").expectClose();
  onceLoggedIn([&] { EXPECT_TRUE(controller->sendLogout()); });
  endsDuring("quit");
  EXPECT_THAT(log.texts(), Contains("Tovik: protocol interpreter channel down local"));
}

TEST_F(CommandSession, LogsOutFromAServerThatDoesNotKnowQuit) {
  server.expect("QUIT").reply("500 What").expectClose();
  onceLoggedIn([&] { EXPECT_TRUE(controller->sendLogout()); });
  endsDuring("quit");
}

TEST_F(CommandSession, EndsWhenTheServerClosesInTheMiddleOfACommand) {
  server.expect("PWD").close();
  pwdOnceLoggedIn();
  endsDuring("pwd");
  EXPECT_THAT(log.texts(), Contains("Tovik: protocol interpreter channel down peer"));
}

TEST_F(CommandSession, EndsWhenTheServerResetsInTheMiddleOfACommand) {
  server.expect("PWD").reset();
  pwdOnceLoggedIn();
  endsDuring("pwd");
  EXPECT_THAT(log.texts(), Contains("Tovik: protocol interpreter channel down failed"));
}

TEST_F(CommandSession, EndsWhenTheServiceCloses) {
  server.expect("PWD").reply("421 Closing").expectClose();
  pwdOnceLoggedIn();
  endsDuring("pwd");
  onWorker([&] { EXPECT_EQ(controller->interpreter.pending, pending_e::pwd); });
}

TEST_F(CommandSession, DropsTheRepliesBehindServiceClosing) {
  server.expect("PWD").reply("421 Closing\r\n257 \"/\"").expectClose();
  pwdOnceLoggedIn();
  endsDuring("pwd");
  EXPECT_EQ(log.count("Tovik: [FTP] 257 \"\"/\"\" "), 0);
}

TEST_F(CommandSession, IsLoggedOutByNotLoggedIn) {
  server.expect("CWD a").reply("530 Not logged in").expectClose();
  onceLoggedIn([&] { EXPECT_TRUE(controller->changeCwd("a")); });
  endsDuring("cwd");
  onWorker([&] { EXPECT_EQ(controller->interpreter.pending, pending_e::none); });
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

TEST_F(CommandSession, LogsLinesThatAreNoReplies) {
  server.expect("PWD").reply("hello").reply("257 \"/\"");
  pwdOnceLoggedIn();
  ASSERT_TRUE(client.waits("onPwd"));
  EXPECT_THAT(log.texts(30), ElementsAre("Tovik: protocol interpreter: no return code"));
}

}  // namespace
}  // namespace tovik::ftp
