#include <string>

#include "hostile_session.h"

namespace tovik::ftp {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::SizeIs;

/// Replies that nobody asked for.
class UnsolicitedReplies : public HostileSession {
 protected:
  static Misdeed flood(const std::string& reply) { return pours(reply + "\r\n", floodSize()); }
};

TEST_F(UnsolicitedReplies, ChangeNothingDuringTheLogin) {
  logNothing();
  server.accept().onControl("a flood", flood("257 \"/\"")).reply("220 Ready").expect("USER me");
  server.onControl("a flood", flood("226 Done")).reply("331 Password?").expect("PASS secret");
  server.onControl("a flood", flood("150 Here")).reply("230 Hello");
  const Growth growth;
  start();
  ASSERT_TRUE(client.waits("onConnected")) << server.played();
  EXPECT_LT(growth.highestBytes(), mebibyte);
}

TEST_F(UnsolicitedReplies, ChangeNothingWhileNoCommandIsInProgress) {
  logNothing();
  server.login().onControl("a flood", flood("257 \"/\"")).reply("421 Closing").expectClose();
  const Growth growth;
  start();
  ASSERT_TRUE(client.waits("onDisconnected")) << server.played();
  EXPECT_LT(growth.highestBytes(), mebibyte);
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onDisconnected"));
}

TEST_F(UnsolicitedReplies, ChangeNothingWhileTheyAnswerAnotherCommand) {
  logNothing();
  server.login().expect("PWD").onControl("a flood", flood("226 Done")).reply("257 \"/\"");
  const Growth growth;
  onceLoggedIn([this] { EXPECT_TRUE(controller->getPwd()); });
  ASSERT_TRUE(client.waits("onPwd")) << server.played();
  EXPECT_LT(growth.highestBytes(), mebibyte);
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onPwd /"));
}

TEST_F(UnsolicitedReplies, AreDroppedWhenTheyAreNoReplies) {
  logNothing();
  server.login().expect("PWD").onControl("a flood", flood("no reply at all")).reply("257 \"/\"");
  const Growth growth;
  onceLoggedIn([this] { EXPECT_TRUE(controller->getPwd()); });
  ASSERT_TRUE(client.waits("onPwd")) << server.played();
  EXPECT_LT(growth.highestBytes(), mebibyte);
}

TEST_F(UnsolicitedReplies, AreLoggedOneByOne) {
  logWarningsOnly();
  server.login().onControl("a flood", pours("257 \"/\"\r\n", 1000)).reply("421 Closing").expectClose();
  start();
  ASSERT_TRUE(client.waits("onDisconnected")) << server.played();
  EXPECT_THAT(log.texts(), SizeIs(1000));
  EXPECT_THAT(log.texts(), Each("Tovik: protocol interpreter: bad pending command 0 while up"));
}

TEST_F(UnsolicitedReplies, LeaveTimeForTheOtherSessionsOfTheWorker) {
  logNothing();
  server.login().onControl("a flood almost without end", pours("226 " + std::string(1000, 'x') + "\r\n", 1'000'000));
  start();
  ASSERT_TRUE(client.waits("onConnected")) << server.played();
  ScriptedServer neighboursServer;
  RecordingClient neighbour;
  connection_data_t connected = connection();
  connected.server = neighboursServer.address();
  Controller neighbours(connected, &neighbour, dispatcher.name(), 0, nullptr);
  neighboursServer.login().passive().expect("RETR file").data("whole").closeData().reply("226 Done");
  neighbour.onConnectedDo([&] { EXPECT_TRUE(neighbours.getFile("file", passiveMode)); });
  EXPECT_TRUE(neighbours.start());
  EXPECT_TRUE(neighbour.waits("onRetrieve")) << neighboursServer.played();
  EXPECT_TRUE(controller->stop());
}

using UnsolicitedRepliesInATransfer = HostileInMode;

TEST_P(UnsolicitedRepliesInATransfer, ChangeNothing) {
  logNothing();
  const Misdeed flood = pours("257 \"/\"\r\n", floodSize());
  const std::string command = GetParam() == passiveMode ? "PASV" : "PORT";
  server.login();
  GetParam() == passiveMode ? server.expect("PASV") : server.expectPort();
  server.onControl("a flood after " + command, flood);
  GetParam() == passiveMode ? server.offerData() : server.reply("200 PORT is fine");
  server.expect("RETR file").onControl("a flood after RETR", flood).reply("150 Here").data("wh");
  server.onControl("a flood amid the data", flood).data("ole").closeData();
  server.onControl("a flood after the data", flood).reply("226 Done");
  const Growth growth;
  retrieves(GetParam());
  ASSERT_TRUE(client.waits("onRetrieve")) << server.played();
  EXPECT_LT(growth.highestBytes(), mebibyte);
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onRetrieve file | Done | whole"));
}

IN_BOTH_MODES(UnsolicitedRepliesInATransfer);

}  // namespace
}  // namespace tovik::ftp
