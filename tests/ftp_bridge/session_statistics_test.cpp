#include "session_fixture.h"

namespace tovik::ftp {
namespace {

TEST_F(Session, ReportsItsStatisticsDuringAndAfterIt) {
  server.login().passive().expect("RETR file").reply("150 Here").data("12345").closeData().reply("226 Done");
  EXPECT_EQ(controller->statistics().started, 0U);
  onceLoggedIn([this] { EXPECT_TRUE(controller->getFile("file", passiveMode)); });
  ASSERT_TRUE(client.waits("onRetrieve")) << server.played();
  const ConnectionStatistics busy = controller->statistics();
  EXPECT_EQ(busy.started, 2U);
  EXPECT_EQ(busy.up, 2U);
  EXPECT_EQ(busy.open(), 1U);
  EXPECT_EQ(busy.ended_by_peer, 1U);
  EXPECT_GT(busy.bytes_in, 5U);
  EXPECT_GT(busy.bytes_out, 0U);
  EXPECT_TRUE(controller->stop());
  EXPECT_EQ(controller->statistics().open(), 0U);
  EXPECT_EQ(controller->statistics().ended_here, 1U);
}

}  // namespace
}  // namespace tovik::ftp
