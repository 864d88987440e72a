#include <chrono>
#include <string>

#include "session_fixture.h"

namespace tovik::ftp {
namespace {

using ::testing::ElementsAre;

/// A transfer whose data connection this side ends, since nothing has come on it within the first-byte limit of 1 s.
/// The server notices only when it sends, and its reply may say anything. The parameter: passive mode.
class CutByLimit : public Session, public ::testing::WithParamInterface<bool> {
 protected:
  CutByLimit() {
    controller = make(1);
    server.login();
  }

  /// The data connection is there, and nothing comes on it.
  void limitPasses() {
    ASSERT_TRUE(log.waitFor("Tovik: data connection up"));
    pass(std::chrono::seconds(1));
  }

  /// Up to the end of the data connection.
  void beginTransfer(const std::string& command) {
    (GetParam() == passiveMode ? server.passive() : server.active())
        .expect(command)
        .reply("150 Soon")
        .expectDataClose();
  }
  void thenAnotherFile() {
    (GetParam() == passiveMode ? server.passive() : server.active())
        .expect("RETR next")
        .reply("150 Here")
        .data("whole")
        .closeData()
        .reply("226 Done");
  }
};

INSTANTIATE_TEST_SUITE_P(In, CutByLimit, ::testing::Values(activeMode, passiveMode),
                         [](const auto& mode) { return mode.param == passiveMode ? "Passive" : "Active"; });

// It was reported as retrieved, with 0 bytes.
TEST_P(CutByLimit, AFileIsNotRetrievedThoughTheServerSaysSo) {
  beginTransfer("RETR file");
  server.reply("226 Done");
  thenAnotherFile();
  client.whenever("onRetrieveFailed", [this] { EXPECT_TRUE(controller->getFile("next", GetParam())); });
  onceLoggedIn([this] { EXPECT_TRUE(controller->getFile("file", GetParam())); });
  limitPasses();
  ASSERT_TRUE(client.waits("onRetrieve")) << server.played();
  EXPECT_THAT(client.lines(),
              ElementsAre("onConnected", "onRetrieveFailed file | nothing received within the limit of 1 s",
                          "onRetrieve next | Done | whole"));
}

TEST_P(CutByLimit, AListingIsNotThereThoughTheServerSaysSo) {
  beginTransfer("NLST");
  server.reply("226 Done");
  onceLoggedIn([this] { EXPECT_TRUE(controller->getNlst(GetParam())); });
  limitPasses();
  ASSERT_TRUE(client.waits("onNlstFailed")) << server.played();
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onNlstFailed nothing received within the limit of 1 s"));
}

TEST_P(CutByLimit, ATransferThatTheServerRefusesEndsInTheServersWords) {
  beginTransfer("RETR file");
  server.reply("451 Try again");
  onceLoggedIn([this] { EXPECT_TRUE(controller->getFile("file", GetParam())); });
  limitPasses();
  ASSERT_TRUE(client.waits("onRetrieveFailed")) << server.played();
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onRetrieveFailed file | Try again"));
}

}  // namespace
}  // namespace tovik::ftp
