#include <sys/socket.h>

#include <string>

#include "hostile_session.h"

namespace tovik::ftp {
namespace {

using ::testing::ElementsAre;
using testing_support::LoopbackSocket;

/// Every byte but those that a line, or the text in hand, ends with.
std::string everyByteBut(const std::string& excluded) {
  std::string bytes = "x";
  for (int value = 0; value < 256; ++value)
    if (excluded.find(static_cast<char>(value)) == std::string::npos) bytes += static_cast<char>(value);
  return bytes + "x";
}

void sendUrgentBetween(const LoopbackSocket& socket, const std::string& before, const std::string& behind) {
  socket.send(before);
  EXPECT_EQ(::send(socket.number(), "!", 1, MSG_OOB), 1);
  socket.send(behind);
}

/// Bytes in replies and names that no text should hold.
class OddBytes : public HostileSession {
 protected:
  OddBytes() { server.login(); }
};

TEST_F(OddBytes, ReachTheClientInADirectory) {
  const std::string directory = everyByteBut("\"\n");
  server.expect("PWD").reply("257 \"" + directory + "\"");
  onceLoggedIn([this] { EXPECT_TRUE(controller->getPwd()); });
  ASSERT_TRUE(client.waits("onPwd")) << server.played();
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onPwd " + directory));
}

TEST_F(OddBytes, ReachTheClientAndTheLogInAText) {
  const std::string text = everyByteBut("\n");
  server.expect("CWD a").reply("550 " + text);
  onceLoggedIn([this] { EXPECT_TRUE(controller->changeCwd("a")); });
  ASSERT_TRUE(client.waits("onCwdFailed")) << server.played();
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onCwdFailed " + text));
  EXPECT_EQ(log.count("Tovik: [FTP] 550 \"" + text + "\" "), 1);
}

TEST_F(OddBytes, DoNotMakeACode) {
  server.expect("PWD");
  for (const std::string& line :
       {std::string("2\0057 \"/a\"", 9), std::string("\0257 \"/b\"", 8), std::string("\xb2\xb5\xb7 \"/c\""),
        std::string("\xff\xf4"
                    "257 \"/d\""),
        std::string("\xef\xbb\xbf"
                    "257 \"/e\""),
        std::string("25")})
    server.reply(line);
  server.reply("257 \"/\"");
  onceLoggedIn([this] { EXPECT_TRUE(controller->getPwd()); });
  ASSERT_TRUE(client.waits("onPwd")) << server.played();
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onPwd /"));
  EXPECT_EQ(log.count("Tovik: protocol interpreter: no return code"), 6);
}

TEST_F(OddBytes, MayFollowACodeAtOnce) {
  server.expect("CWD a").reply(std::string("250\0Done", 8));
  onceLoggedIn([this] { EXPECT_TRUE(controller->changeCwd("a")); });
  ASSERT_TRUE(client.waits("onCwd")) << server.played();
  EXPECT_EQ(client.lines().back(), "onCwd " + std::string("\0Done", 5));
}

TEST_F(OddBytes, ThatAreUrgentAreLeftOutOfAReply) {
  server.expect("PWD").onControl(
      "an urgent byte", [](const LoopbackSocket& control) { sendUrgentBetween(control, "257 \"/a", "b\"\r\n"); });
  onceLoggedIn([this] { EXPECT_TRUE(controller->getPwd()); });
  ASSERT_TRUE(client.waits("onPwd")) << server.played();
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onPwd /ab"));
}

class OddBytesInATransfer : public HostileInMode {
 protected:
  OddBytesInATransfer() { server.login(); }
};

TEST_P(OddBytesInATransfer, AreKeptInNames) {
  const std::string name = everyByteBut("\n");
  (GetParam() == passiveMode ? server.passive() : server.active()).expect("NLST");
  server.data(name + "\r\n" + std::string(1, '\0') + "\n..\n/etc/passwd\n").closeData().reply("226 Done");
  onceLoggedIn([this] { EXPECT_TRUE(controller->getNlst(GetParam())); });
  ASSERT_TRUE(client.waits("onNlst")) << server.played();
  EXPECT_THAT(client.lines(),
              ElementsAre("onConnected", "onNlst " + name + "," + std::string(1, '\0') + ",..,/etc/passwd | Done"));
}

TEST_P(OddBytesInATransfer, AreKeptInFilesAndTheirReplies) {
  const std::string content = everyByteBut("");
  const std::string text = everyByteBut("\n");
  negotiate(GetParam()).reply("150 " + text).data(content).closeData().reply("226 " + text);
  retrieves(GetParam());
  ASSERT_TRUE(client.waits("onRetrieve")) << server.played();
  EXPECT_EQ(*client.content(), content);
  EXPECT_EQ(client.lines().back(), "onRetrieve file | " + text + " | 258 bytes");
}

TEST_P(OddBytesInATransfer, ThatAreUrgentAreLeftOutOfAFile) {
  negotiate(GetParam()).reply("150 Soon").onData("an urgent byte", [](const LoopbackSocket& data) {
    sendUrgentBetween(data, "one ", "two");
  });
  server.closeData().reply("226 Done");
  retrieves(GetParam());
  ASSERT_TRUE(client.waits("onRetrieve")) << server.played();
  EXPECT_EQ(*client.content(), "one two");
}

IN_BOTH_MODES(OddBytesInATransfer);

}  // namespace
}  // namespace tovik::ftp
