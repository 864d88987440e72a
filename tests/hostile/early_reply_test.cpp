#include <string>

#include "hostile_session.h"

namespace tovik::ftp {
namespace {

using ::testing::ElementsAre;
using testing_support::LoopbackSocket;

const std::string badPending = "Tovik: protocol interpreter: bad pending command 0 while up";

/// Replies that the server sends before it has the commands. Each is taken for the answer of the command that is in
/// progress when its line is read, and dropped when there is none.
using EarlyReplies = HostileSession;

TEST_F(EarlyReplies, LogInWhenAllOfThemComeAtOnce) {
  server.accept().replyRaw("220 Ready\r\n331 Password?\r\n230 Hello\r\n");
  server.expect("USER me").expect("PASS secret");
  start();
  ASSERT_TRUE(client.waits("onConnected")) << server.played();
}

TEST_F(EarlyReplies, AnswerTheCommandThatACallbackStarts) {
  server.accept().replyRaw("220 Ready\r\n331 Password?\r\n230 Hello\r\n257 \"/\"\r\n250 Done\r\n");
  server.expect("USER me").expect("PASS secret").expect("PWD").expect("CWD a");
  client.whenever("onPwd", [this] { EXPECT_TRUE(controller->changeCwd("a")); });
  onceLoggedIn([this] { EXPECT_TRUE(controller->getPwd()); });
  ASSERT_TRUE(client.waits("onCwd")) << server.played();
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onPwd /", "onCwd Done"));
}

TEST_F(EarlyReplies, AreDroppedBehindAPassiveAddressSinceNoCommandIsInProgressUntilItIsConnected) {
  LoopbackSocket listener = LoopbackSocket::listening();
  std::string offer;
  ASSERT_TRUE(ProtocolInterpreter::convertAddr(listener.address(), offer));
  server.login().expect("PASV").replyRaw("227 (" + offer + ")\r\n150 Here\r\n226 Early\r\n");
  server.expect("RETR file");
  retrieves(passiveMode);
  LoopbackSocket data = listener.accept();
  ASSERT_TRUE(server.played());
  data.send("whole");
  data.close();
  ASSERT_TRUE(log.waitFor("Tovik: onDataDown"));
  EXPECT_EQ(controller->getPwd().message, "retr still active");
  server.reply("226 Done");
  ASSERT_TRUE(client.waits("onRetrieve")) << server.played();
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onRetrieve file | Done | whole"));
  EXPECT_THAT(log.texts(30), ElementsAre(badPending, badPending));
}

TEST_F(EarlyReplies, EndAnActiveTransferTogetherWithItsData) {
  server.login().expectPort().replyRaw("200 PORT is fine\r\n150 Here\r\n226 Early\r\n");
  server.expect("RETR file").data("whole").closeData();
  retrieves(activeMode);
  ASSERT_TRUE(client.waits("onRetrieve")) << server.played();
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onRetrieve file | Early | whole"));
}

TEST_F(EarlyReplies, RefuseAnActiveTransferBeforeItIsAskedFor) {
  server.login().expectPort().replyRaw("200 PORT is fine\r\n550 No\r\n").expect("RETR file").closeData();
  retrieves(activeMode);
  ASSERT_TRUE(client.waits("onRetrieveFailed")) << server.played();
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onRetrieveFailed file | No"));
}

TEST_F(EarlyReplies, EndTheSessionDuringTheLogin) {
  server.accept().replyRaw("220 Ready\r\n421 Closing\r\n331 Password?\r\n").expect("USER me").expectClose();
  start();
  ASSERT_TRUE(client.waits("onDisconnected")) << server.played();
  EXPECT_EQ(log.count("Tovik: [FTP] 331 \"Password?\" "), 0);
}

using EarlyFinalReply = HostileInMode;

TEST_P(EarlyFinalReply, WaitsForTheDataHoweverEarlyItComes) {
  server.login();
  negotiate(GetParam()).reply("226 Early").reply("150 Late").data("whole").closeData();
  retrieves(GetParam());
  ASSERT_TRUE(client.waits("onRetrieve")) << server.played();
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onRetrieve file | Early | whole"));
}

IN_BOTH_MODES(EarlyFinalReply);

}  // namespace
}  // namespace tovik::ftp
