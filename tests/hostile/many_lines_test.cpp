#include <optional>
#include <string>

#include "hostile_session.h"

namespace tovik::ftp {
namespace {

using ::testing::ElementsAre;

// Of a line that does not begin with a code only an empty text is kept: 32 bytes, up to three times while the list of
// them grows, and four in the log's form of the reply.
constexpr long mostForAShortLine = 160;

/// Replies of very many lines.
class ManyLines : public HostileSession {
 protected:
  ManyLines() {
    logNothing();
    server.login();
  }

  /// Between the first and the last line of the answer to PWD.
  void answersWith(const Misdeed& lines) {
    server.expect("PWD").reply("257-\"/\" at first").onControl("many lines", lines).reply("257 \"/last\"");
    client.onConnectedDo([this] { EXPECT_TRUE(controller->getPwd()); });
    growth.emplace();
    start();
    ASSERT_TRUE(client.waits("onPwd")) << server.played();
    EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onPwd /"));
  }

  std::optional<Growth> growth;
};

TEST_F(ManyLines, AreOneReplyWhoseTextsAreNotKept) {
  answersWith(pours(std::string(1022, 'x') + "\r\n", floodSize()));
  EXPECT_LT(growth->highestBytes(), floodSize() * mostForAShortLine + mebibyte);
}

TEST_F(ManyLines, CostTheMostByTheByteWhenTheyAreEmpty) {
  answersWith(pours("\r\n", floodSize()));
  EXPECT_LT(growth->highestBytes(), floodSize() * mostForAShortLine + mebibyte);
}

TEST_F(ManyLines, AreDroppedWhenTheyBeginWithOtherCodes) {
  answersWith(pours("226 Done\r\n226-Done\r\n", floodSize()));
  EXPECT_LT(growth->highestBytes(), mebibyte);
}

TEST_F(ManyLines, ReleaseTheirMemoryWithTheController) {
  const Growth all;
  answersWith(pours("\r\n", floodSize()));
  EXPECT_TRUE(server.played());
  controller.reset();
  EXPECT_TRUE(testing_support::eventually([&] { return all.bytes() < workersOwn; })) << all.bytes();
}

TEST_F(ManyLines, AreStoppedByTheHostWhenTheyNeverEnd) {
  server.expect("PWD").reply("257-\"/\"").onControl("lines without end", poursForEver("x\r\n"));
  onceLoggedIn([this] { EXPECT_TRUE(controller->getPwd()); });
  ASSERT_TRUE(client.waits("onConnected"));
  const auto gathered = [this] {
    std::size_t lines = 0;
    onWorker([&] { lines = controller->interpreter.replyLines.size(); });
    return static_cast<long>(lines);
  };
  ASSERT_TRUE(testing_support::eventually([&] { return gathered() > floodSize(); }));
  EXPECT_TRUE(controller->stop());
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onDisconnected"));
}

using ManyLinesInATransfer = HostileInMode;

TEST_P(ManyLinesInATransfer, AreOneReplyToo) {
  logNothing();
  server.login();
  negotiate(GetParam()).reply("150-Here").onControl("many lines", pours("x\r\n", floodSize())).reply("150 it is");
  server.data("whole").closeData().reply("226-Done").onControl("many lines", pours("x\r\n", floodSize()));
  server.reply("226 at last");
  const Growth growth;
  retrieves(GetParam());
  ASSERT_TRUE(client.waits("onRetrieve")) << server.played();
  EXPECT_LT(growth.highestBytes(), floodSize() * mostForAShortLine + mebibyte);
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onRetrieve file | Done | whole"));
}

IN_BOTH_MODES(ManyLinesInATransfer);

}  // namespace
}  // namespace tovik::ftp
