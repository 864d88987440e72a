#include <string>
#include <utility>
#include <vector>

#include "session.h"

namespace tovik::ftp {
namespace {

using ::testing::ElementsAre;
using ::testing::StartsWith;
using testing_support::LoopbackSocket;

/// Transfers that the server, or the network, refuses. The session goes on afterwards.
class RefusalSession : public Session {
 protected:
  RefusalSession() { server.login(); }

  /// Retrieves "file", which ends in a line of the client's; then asks for the directory.
  void fails(bool mode, const std::string& why) {
    client.whenever("onRetrieveFailed", [&] { EXPECT_TRUE(controller->getPwd()); });
    onceLoggedIn([this, mode] { EXPECT_TRUE(controller->getFile("file", mode)); });
    server.expect("PWD").reply("257 \"/\"");
    ASSERT_TRUE(client.waits("onPwd")) << server.played();
    EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onRetrieveFailed file | " + why, "onPwd /"));
  }
};

TEST_F(RefusalSession, ReportsThatPasvIsRefused) {
  server.expect("PASV").reply("501 No");
  fails(passiveMode, "No");
}

TEST_F(RefusalSession, ReportsAPassiveAddressWithoutParentheses) {
  server.expect("PASV").reply("227 Entering Passive Mode 127,0,0,1,4,1");
  fails(passiveMode, "address not delimited by ()");
}

TEST_F(RefusalSession, ReportsAPassiveAddressWithoutAClosingParenthesis) {
  server.expect("PASV").reply("227 Entering Passive Mode (127,0,0,1,4,1");
  fails(passiveMode, "address not delimited by ()");
}

TEST_F(RefusalSession, ReportsAPassiveAddressThatIsNone) {
  server.expect("PASV").reply("227 Entering Passive Mode (a,b)");
  fails(passiveMode, "couldn't parse a,b");
}

TEST_F(RefusalSession, ReportsAPassiveAddressWithBlanks) {
  server.expect("PASV").reply("227 Entering Passive Mode (127, 0, 0, 1, 4, 1)");
  fails(passiveMode, "couldn't parse 127, 0, 0, 1, 4, 1");
}

TEST_F(RefusalSession, ReportsAPassiveAddressWhereNobodyListens) {
  LoopbackSocket listener = LoopbackSocket::listening();
  std::string nobody;
  ASSERT_TRUE(ProtocolInterpreter::convertAddr(listener.address(), nobody));
  listener.close();
  server.expect("PASV").reply("227 (" + nobody + ")").expect("PWD").reply("257 \"/\"");
  client.whenever("onNlstFailed", [&] { EXPECT_TRUE(controller->getPwd()); });
  onceLoggedIn([&] { EXPECT_TRUE(controller->getNlst(passiveMode)); });
  ASSERT_TRUE(client.waits("onPwd"));
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", StartsWith("onNlstFailed "), "onPwd /"));
}

TEST_F(RefusalSession, ReportsThatPortIsRefused) {
  server.expectPort().reply("500 No");
  fails(activeMode, "No");
}

TEST_F(RefusalSession, ReportsATransferWhoseDataConnectionBroke) {
  server.passive().expect("RETR file").reply("150 Here").data("half").resetData().reply("426 Broken");
  fails(passiveMode, "Broken");
}

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
  fails(passiveMode, "No");
  EXPECT_THAT(log.texts(30), ElementsAre("Tovik: data_connection: nothing received within the time limit"));
}

TEST_F(RefusalSession, EndsTheSessionOnServiceClosingDuringATransfer) {
  server.passive().expect("RETR file").data("half").reply("421 Closing").expectClose().closeData();
  onceLoggedIn([&] { EXPECT_TRUE(controller->getFile("file", passiveMode)); });
  ASSERT_TRUE(client.waits("onDisconnected"));
  ASSERT_TRUE(log.waitFor("Tovik: onDataDown"));
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onDisconnected"));
  onWorker([&] {
    EXPECT_EQ(controller->interpreter.sessionState, 0);
    EXPECT_EQ(controller->interpreter.pending, pending_e::retr);
    EXPECT_EQ(controller->command, Controller::cmd_e::retr);
  });
}

TEST_F(RefusalSession, EndsTheSessionWhenATransferIsAnsweredWithNotLoggedIn) {
  server.active().expect("NLST").reply("530 Not logged in").expectClose();
  onceLoggedIn([&] { EXPECT_TRUE(controller->getNlst(activeMode)); });
  ASSERT_TRUE(client.waits("onDisconnected"));
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onDisconnected"));
}

TEST_F(RefusalSession, EndsTheSessionWhenPasvIsAnsweredWithNotLoggedIn) {
  server.expect("PASV").reply("530 Not logged in").expectClose();
  onceLoggedIn([&] { EXPECT_TRUE(controller->getNlst(passiveMode)); });
  ASSERT_TRUE(client.waits("onDisconnected"));
  EXPECT_EQ(controller->getPwd().message, "nlst still active");
}

TEST_F(RefusalSession, StaysBusyWhenTheConnectionDropsDuringATransfer) {
  server.passive().expect("RETR file").data("half").close();
  onceLoggedIn([&] { EXPECT_TRUE(controller->getFile("file", passiveMode)); });
  ASSERT_TRUE(client.waits("onDisconnected"));
  EXPECT_EQ(controller->getPwd().message, "retr still active");
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onDisconnected"));
}

/// A transfer and the code that it is refused with.
class RefusedTransfer : public RefusalSession,
                        public ::testing::WithParamInterface<std::pair<std::string, std::string>> {};

TEST_P(RefusedTransfer, IsReportedOnceItsDataConnectionHasEnded) {
  const auto& [command, code] = GetParam();
  const bool listing = command == "NLST";
  server.passive().expect(listing ? "NLST" : "RETR file").reply(code + " No");
  serverAfter("Tovik: [FTP] " + code + " \"No\" ");
  server.until(
      [&] {
        bool waiting = false;
        onWorker([&] { waiting = controller->replyReceived; });
        return waiting && client.lines().size() == 1;
      },
      "the refusal waits");
  server.closeData();
  onceLoggedIn(
      [&] { EXPECT_TRUE(listing ? controller->getNlst(passiveMode) : controller->getFile("file", passiveMode)); });
  ASSERT_TRUE(client.waits(listing ? "onNlstFailed" : "onRetrieveFailed")) << server.played();
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", listing ? "onNlstFailed No" : "onRetrieveFailed file | No"));
}

INSTANTIATE_TEST_SUITE_P(With, RefusedTransfer, ::testing::ValuesIn([] {
                           std::vector<std::pair<std::string, std::string>> refusals;
                           for (const char* code : {"425", "426", "450", "451", "500", "501", "502"})
                             refusals.emplace_back("NLST", code);
                           for (const char* code : {"425", "426", "450", "451", "500", "501", "550"})
                             refusals.emplace_back("RETR", code);
                           return refusals;
                         }()),
                         [](const auto& refusal) { return refusal.param.first + refusal.param.second; });

}  // namespace
}  // namespace tovik::ftp
