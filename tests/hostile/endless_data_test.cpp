#include <string>

#include "hostile_session.h"

namespace tovik::ftp {
namespace {

using ::testing::ElementsAre;

// Half of it is there when the host has had enough; the test's own memory has an end.
constexpr long endless = 64 * mebibyte;
constexpr long enough = endless / 2;

/// Data connections without an end. Nothing limits a transfer: the host does.
class EndlessData : public HostileInMode {
 protected:
  EndlessData() {
    logNothing();
    server.login();
  }

  void lists() {
    onceLoggedIn([this] { EXPECT_TRUE(controller->getNlst(GetParam())); });
  }
  ScriptedServer& negotiateListing() {
    return (GetParam() == passiveMode ? server.passive() : server.active()).expect("NLST").reply("150 Here");
  }

  long received() {
    long bytes = 0;
    onWorker([&] {
      const DataConnector* const connector = controller->dataConnector;
      if (connector != nullptr && connector->received != nullptr)
        bytes = static_cast<long>(connector->received->size());
    });
    return bytes;
  }
};

TEST_P(EndlessData, OfAListingIsGatheredUntilTheHostStops) {
  negotiateListing().onData("a listing without end", pours("name\r\n", endless / 6));
  const Growth growth;
  lists();
  ASSERT_TRUE(client.waits("onConnected"));
  ASSERT_TRUE(testing_support::eventually([this] { return received() >= enough; })) << server.played();
  if (testing_support::heapIsOurs()) {
    EXPECT_GT(growth.highestBytes(), enough);
  }
  EXPECT_TRUE(controller->stop());
  EXPECT_TRUE(testing_support::eventually([&] { return growth.bytes() < workersOwn; })) << growth.bytes();
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onDisconnected"));
}

TEST_P(EndlessData, OfAFileIsGatheredUntilTheHostDestroysTheController) {
  negotiate(GetParam()).reply("150 Here").onData("a file without end", pours(std::string(1024, '\0'), endless / 1024));
  const Growth growth;
  retrieves(GetParam());
  ASSERT_TRUE(client.waits("onConnected"));
  ASSERT_TRUE(testing_support::eventually([this] { return received() >= enough; })) << server.played();
  controller.reset();
  EXPECT_TRUE(testing_support::eventually([&] { return growth.bytes() < workersOwn; })) << growth.bytes();
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onDisconnected"));
}

TEST_P(EndlessData, ThatHasAnEndAfterAllIsAListing) {
  negotiateListing().onData("a long line", pours("x", 4 * mebibyte)).closeData().reply("226 Done");
  lists();
  ASSERT_TRUE(client.waits("onNlst")) << server.played();
  EXPECT_EQ(client.lines().back(), "onNlst " + std::string(4 * mebibyte, 'x') + " | Done");
}

TEST_P(EndlessData, OfBlankLinesHasNoNames) {
  negotiateListing().onData("blank lines", pours(" \r\n", mebibyte)).closeData().reply("226 Done");
  lists();
  ASSERT_TRUE(client.waits("onNlst")) << server.played();
  EXPECT_EQ(client.lines().back(), "onNlst  | Done");
}

// A name of one byte takes a string of 32, and up to three of them while their list grows.
TEST_P(EndlessData, OfShortNamesCostsManyTimesItsSize) {
  constexpr long names = mebibyte / 4 + 1;
  negotiateListing().onData("short names", pours("a\n", names)).closeData().reply("226 Done");
  const Growth growth;
  lists();
  ASSERT_TRUE(client.waits("onNlst")) << server.played();
  if (testing_support::heapIsOurs()) {
    EXPECT_GT(growth.highestBytes(), 32 * names);
  }
  EXPECT_LT(growth.highestBytes(), 112 * names);
}

IN_BOTH_MODES(EndlessData);

}  // namespace
}  // namespace tovik::ftp
