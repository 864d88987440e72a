#include <string>

#include "session_fixture.h"

namespace tovik::ftp {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

const std::string dataEnded = "Tovik: onDataDown";

/// Transfers that succeed, over connections.
class TransferSession : public Session {
 protected:
  TransferSession() { server.login(); }

  void lists(bool mode) {
    onceLoggedIn([this, mode] { EXPECT_TRUE(controller->getNlst(mode)); });
  }
  void retrieves(const std::string& name, bool mode) {
    onceLoggedIn([this, name, mode] { EXPECT_TRUE(controller->getFile(name, mode)); });
  }

  /// Waits for an outcome, and for the replies behind it that should change nothing any more.
  void ends(const std::string& outcome) {
    const std::string callback = outcome.substr(0, outcome.find(' '));
    ASSERT_TRUE(client.waits(callback)) << server.played();
    EXPECT_TRUE(server.played());
    EXPECT_TRUE(log.waitFor(dataEnded));
    EXPECT_THAT(client.lines(), ElementsAre("onConnected", outcome));
    EXPECT_THAT(log.texts(30), IsEmpty());
  }
};

TEST_F(TransferSession, ListsInPassiveModeWithTheReplyAndTheDataAtTheSameTime) {
  server.passive().expect("NLST").reply("150 Here").data("a\r\nb\r\n").closeData().reply("226 Done");
  lists(passiveMode);
  ends("onNlst a,b | Done");
}

TEST_F(TransferSession, RetrievesAMebibyteByteForByte) {
  std::string bytes(1UL << 20U, '\0');
  for (std::string::size_type i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * i / 7);
  server.passive().expect("RETR big").reply("150 Here").data(bytes).closeData().reply("226 Done");
  retrieves("big", passiveMode);
  ends("onRetrieve big | Done | 1048576 bytes");
  EXPECT_TRUE(*client.content() == bytes);
}

TEST_F(TransferSession, ConnectsInPassiveModeFromTheLocalAddress) {
  server.passive().expect("NLST").data("a").closeData().reply("226 Done");
  lists(passiveMode);
  ends("onNlst a | Done");
  EXPECT_THAT(server.dataPeer(), StartsWith("127.0.0.2:"));
}

TEST_F(TransferSession, AnnouncesTheLocalAddressInActiveMode) {
  server.active().expect("NLST").data("a").closeData().reply("226 Done");
  lists(activeMode);
  ends("onNlst a | Done");
  EXPECT_THAT(server.port(), StartsWith("127,0,0,2,"));
  EXPECT_THAT(server.port(), ::testing::Not(::testing::EndsWith(",0,0")));
}

TEST_F(TransferSession, LogsAPassiveTransferInItsOrder) {
  server.passive().expect("NLST").reply("150 Here").data("a").closeData();
  serverAfter(dataEnded).reply("226 Done");
  lists(passiveMode);
  ends("onNlst a | Done");
  auto texts = log.texts();
  texts.erase(texts.begin(), texts.begin() + 6);  // the login
  EXPECT_THAT(texts,
              ElementsAre("Tovik: controller getting directory listing", "Tovik: [FTP] PASV",
                          StartsWith("Tovik: [FTP] 227 "), StartsWith("Tovik: initiating passive connection to "),
                          "Tovik: data connection up", "Tovik: [FTP] NLST", "Tovik: [FTP] 150 \"Here\" ",
                          "Tovik: controller 4 received 1 bytes", dataEnded, "Tovik: [FTP] 226 \"Done\" "));
}

TEST_F(TransferSession, LogsAnActiveTransferInItsOrder) {
  server.active().expect("RETR f").reply("150 Here").data("ab").closeData();
  serverAfter(dataEnded).reply("226 Done");
  retrieves("f", activeMode);
  ends("onRetrieve f | Done | ab");
  auto texts = log.texts();
  texts.erase(texts.begin(), texts.begin() + 6);    // the login
  std::erase(texts, "Tovik: [FTP] 150 \"Here\" ");  // may come before or after the data connection
  EXPECT_THAT(texts, ElementsAre("Tovik: controller getting file f", StartsWith("Tovik: [FTP] PORT 127,0,0,2,"),
                                 StartsWith("Tovik: [FTP] 200 "), "Tovik: [FTP] RETR f", "Tovik: data connection up",
                                 "Tovik: controller 5 received 2 bytes", dataEnded, "Tovik: [FTP] 226 \"Done\" "));
}

/// Files of hardly any size, in each mode.
class SmallFile : public TransferSession, public ::testing::WithParamInterface<bool> {
 protected:
  ScriptedServer& opens() { return GetParam() == passiveMode ? server.passive() : server.active(); }
};

TEST_P(SmallFile, OfOneZeroByteIsRetrieved) {
  opens().expect("RETR file").reply("150 Here").data(std::string(1, '\0')).closeData().reply("226 Done");
  retrieves("file", GetParam());
  ends("onRetrieve file | Done | " + std::string(1, '\0'));
}

TEST_P(SmallFile, OfNoByteIsFollowedByTheNextCommands) {
  opens().expect("RETR empty").reply("150 Here").closeData().reply("226 Done");
  opens().expect("RETR full").reply("150 Here").data("xy").closeData().reply("226 Done");
  opens().expect("NLST").reply("150 Here").data("empty\r\nfull\r\n").closeData().reply("226 Done");
  server.expect("PWD").reply("257 \"/\"");
  client.whenever("onRetrieve", [this] {
    const bool first = client.callsOf("onRetrieve") == 1;
    EXPECT_TRUE(first ? controller->getFile("full", GetParam()) : controller->getNlst(GetParam()));
  });
  client.whenever("onNlst", [this] { EXPECT_TRUE(controller->getPwd()); });
  retrieves("empty", GetParam());
  ASSERT_TRUE(client.waits("onPwd")) << server.played();
  EXPECT_THAT(client.lines(), ElementsAre("onConnected", "onRetrieve empty | Done | ", "onRetrieve full | Done | xy",
                                          "onNlst empty,full | Done", "onPwd /"));
}

INSTANTIATE_TEST_SUITE_P(InEachMode, SmallFile, ::testing::Values(passiveMode, activeMode),
                         [](const auto& mode) { return mode.param ? "Passive" : "Active"; });

}  // namespace
}  // namespace tovik::ftp
