#include <string>

#include "hostile_session.h"

namespace tovik::ftp {
namespace {

using ::testing::ElementsAre;

const std::string tooLong = "Tovik: unit longer than 1048576 bytes, channel brought down";

// What is gathered doubles as it grows, so for a moment there are two copies, and one step more.
constexpr long mostForALine = 4 * mebibyte;

/// What a line never ends with.
class EndlessLine : public HostileSession, public ::testing::WithParamInterface<Named> {};

TEST_P(EndlessLine, EndsTheSessionWhenItOutgrowsTheLimit) {
  logWarningsOnly();
  server.accept().onControl("an endless line", poursForEver(GetParam().bytes));
  const Growth growth;
  start();
  ASSERT_TRUE(client.waits("onDisconnected")) << server.played();
  EXPECT_TRUE(server.played());
  EXPECT_LT(growth.highestBytes(), mostForALine);
  EXPECT_THAT(log.texts(), ElementsAre(tooLong));
  EXPECT_THAT(client.lines(), ElementsAre("onDisconnected"));
}

INSTANTIATE_TEST_SUITE_P(Of, EndlessLine,
                         ::testing::Values(Named{"Replies", "220 "}, Named{"Letters", "a"}, Named{"LineFeeds", "\n"},
                                           Named{"Returns", "\r"}, Named{"Nuls", std::string(1, '\0')},
                                           Named{"ReturnsAndNuls", std::string("\r\0", 2)},
                                           Named{"LineEndsTornApart", "\r \n"}, Named{"HighBytes", "\xff"}),
                         nameOf);

using EndlessLineInATransfer = HostileInMode;

TEST_P(EndlessLineInATransfer, EndsTheSession) {
  logWarningsOnly();
  server.login();
  negotiate(GetParam()).reply("150 Here").data("half").onControl("an endless line", poursForEver("226"));
  const Growth growth;
  retrieves(GetParam());
  ASSERT_TRUE(client.waits("onDisconnected")) << server.played();
  EXPECT_TRUE(server.played());
  EXPECT_LT(growth.highestBytes(), mostForALine);
  EXPECT_THAT(log.texts(), ElementsAre(tooLong));
  EXPECT_EQ(controller->getPwd().message, "retr still active");
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onDisconnected"));
}

IN_BOTH_MODES(EndlessLineInATransfer);

/// Lines about as long as the limit, which counts the line end.
class LongLine : public HostileSession {
 protected:
  LongLine() {
    logWarningsOnly();
    server.login();
  }

  /// An answer to PWD.
  static std::string line(long bytes) {
    const std::string head = "257 \"";
    const std::string tail = "\"\r\n";
    const auto size = static_cast<std::string::size_type>(bytes) - head.size() - tail.size();
    return head + std::string(size, 'd') + tail;
  }
  void asksForTheDirectory() {
    onceLoggedIn([this] { EXPECT_TRUE(controller->getPwd()); });
  }
};

TEST_F(LongLine, IsTakenWholeAtTheLimit) {
  server.expect("PWD").replyRaw(line(mebibyte));
  std::string directory;
  client.whenever("onPwd", [&] { directory = client.lines().back(); });
  asksForTheDirectory();
  ASSERT_TRUE(client.waits("onPwd")) << server.played();
  EXPECT_EQ(directory, "onPwd " + std::string(mebibyte - 8, 'd'));
  EXPECT_THAT(log.texts(), ::testing::IsEmpty());
}

TEST_F(LongLine, EndsTheSessionAtOneByteOverTheLimit) {
  server.expect("PWD").replyRaw(line(mebibyte + 1)).expectClose();
  asksForTheDirectory();
  ASSERT_TRUE(client.waits("onDisconnected")) << server.played();
  EXPECT_THAT(log.texts(), ElementsAre(tooLong));
  EXPECT_EQ(client.callsOf("onPwd"), 0);
}

TEST_F(LongLine, CostsNoMoreThanSixteenTimesItsLength) {
  logNothing();
  server.expect("PWD").replyRaw(line(mebibyte));
  const Growth growth;
  asksForTheDirectory();
  ASSERT_TRUE(client.waits("onPwd")) << server.played();
  EXPECT_LT(growth.highestBytes(), 16 * mebibyte);
}

}  // namespace
}  // namespace tovik::ftp
