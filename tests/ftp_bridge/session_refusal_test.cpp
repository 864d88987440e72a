#include <chrono>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "session_fixture.h"

namespace tovik::ftp {
namespace {

using ::testing::ElementsAre;
using ::testing::StartsWith;
using testing_support::LoopbackSocket;

/// Transfers that the server, or the network, refuses. The session goes on afterwards.
class RefusalSession : public Session {
 protected:
  RefusalSession() { server.login(); }

  /// Retrieves "file", which ends in a line of the client's; then asks for the directory. What has to happen for that
  /// end is done meanwhile.
  void fails(
      bool mode, const std::string& why, const std::function<void()>& meanwhile = [] {}) {
    client.whenever("onRetrieveFailed", [&] { EXPECT_TRUE(controller->getPwd()); });
    onceLoggedIn([this, mode] { EXPECT_TRUE(controller->getFile("file", mode)); });
    server.expect("PWD").reply("257 \"/\"");
    meanwhile();
    ASSERT_TRUE(client.waits("onPwd")) << server.played();
    EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onRetrieveFailed file | " + why, "onPwd /"));
  }
};

TEST_F(RefusalSession, KeepsATransferInProgressWhoseReplyNobodyUnderstands) {
  server.passive().expect("NLST").reply("550 No").closeData();
  onceLoggedIn([&] { EXPECT_TRUE(controller->getNlst(passiveMode)); });
  ASSERT_TRUE(log.waitFor("Tovik: onDataDown"));
  ASSERT_TRUE(log.waitFor("Tovik: protocol interpreter: nlst: unknown reply 550"));
  EXPECT_EQ(controller->getPwd().message, "nlst still active");
  EXPECT_THAT(client.lines(), ElementsAre("onConnected"));
}

TEST_F(RefusalSession, KeepsATransferInProgressWhoseDataConnectionIsNeverMade) {
  server.active().expect("NLST").reply("450 No");
  onceLoggedIn([&] { EXPECT_TRUE(controller->getNlst(activeMode)); });
  ASSERT_TRUE(log.waitFor("Tovik: [FTP] 450 \"No\" "));
  onWorker([&] {
    EXPECT_TRUE(controller->replyReceived);
    EXPECT_EQ(controller->command, Controller::cmd_e::nlst);
  });
  EXPECT_THAT(client.lines(), ElementsAre("onConnected"));
}

TEST_F(RefusalSession, EndsARefusedTransferWhoseDataConnectionStaysOpenAtTheTransportsLimit) {
  controller = make(1);
  server.passive().expect("RETR file").reply("550 No").expectDataClose();
  fails(passiveMode, "No", [this] {
    EXPECT_TRUE(log.waitFor("Tovik: [FTP] 550 \"No\" "));
    pass(std::chrono::seconds(1));
  });
  EXPECT_THAT(log.texts(30), ElementsAre("Tovik: data_connection: nothing received within the time limit"));
}

TEST_F(RefusalSession, EndsTheSessionWhenATransferIsAnsweredWithNotLoggedIn) {
  server.active().expect("NLST").reply("530 Not logged in").expectClose();
  onceLoggedIn([&] { EXPECT_TRUE(controller->getNlst(activeMode)); });
  ASSERT_TRUE(client.waits("onDisconnected"));
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onDisconnected"));
}

}  // namespace
}  // namespace tovik::ftp
