#include <string>

#include "hostile_session.h"

namespace tovik::ftp {
namespace {

using ::testing::ElementsAre;

/// Data that comes before the server has announced it, or been asked for it.
class EarlyData : public HostileInMode {
 protected:
  EarlyData() { server.login(); }

  /// Up to the point where a data connection can be made, and from there to the transfer's command.
  ScriptedServer& offers() { return GetParam() == passiveMode ? server.passive() : server.expectPort(); }
  ScriptedServer& accepts() {
    if (GetParam() == activeMode) server.reply("200 PORT is fine");
    return server.expect("RETR file");
  }

  void retrieved(const std::string& content) {
    retrieves(GetParam());
    ASSERT_TRUE(client.waits("onRetrieve")) << server.played();
    EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onRetrieve file | Done | " + content));
    EXPECT_THAT(log.texts(30), ::testing::IsEmpty());
  }
};

TEST_P(EarlyData, IsPartOfTheFileBeforeThePreliminaryReply) {
  offers();
  accepts().data("who").reply("150 Here").data("le").closeData().reply("226 Done");
  retrieved("whole");
}

TEST_P(EarlyData, IsPartOfTheFileBeforeTheCommand) {
  offers().data("who");
  accepts().reply("150 Here").data("le").closeData().reply("226 Done");
  retrieved("whole");
}

TEST_P(EarlyData, IsTheFileWhenItHasEndedBeforeTheCommand) {
  offers().data("whole").closeData();
  serverAfter("Tovik: onDataDown");
  accepts().reply("150 Here").reply("226 Done");
  retrieved("whole");
}

TEST_P(EarlyData, IsNotReportedWhenTheTransferIsRefusedAfterwards) {
  offers().data("whole").closeData();
  serverAfter("Tovik: onDataDown");
  accepts().reply("550 No");
  retrieves(GetParam());
  ASSERT_TRUE(client.waits("onRetrieveFailed")) << server.played();
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onRetrieveFailed file | No"));
}

IN_BOTH_MODES(EarlyData);

}  // namespace
}  // namespace tovik::ftp
