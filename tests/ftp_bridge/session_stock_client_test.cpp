#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "session_fixture.h"

namespace tovik::ftp {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;

/// The stock client against a scripted server.
class StockSession : public Session {
 protected:
  void drive(bool mode) {
    retriever = std::make_unique<FileRetriever>(mode);
    stock = std::make_unique<Controller>(connection(), retriever.get(), dispatcher.name(), 0, nullptr);
    retriever->setController(stock.get());
    EXPECT_TRUE(stock->start());
  }

  std::unique_ptr<FileRetriever> retriever;
  std::unique_ptr<Controller> stock;
};

TEST_F(StockSession, AsksForTheDirectoryAndListsIt) {
  server.login().expect("PWD").reply("257 \"/\"").passive().expect("NLST").data("a\r\nb\r\n").closeData();
  server.reply("226 Done");
  drive(passiveMode);
  ASSERT_TRUE(log.waitFor("Tovik: Directory Entry: b"));
  EXPECT_THAT(log.texts(), IsSupersetOf({"Tovik: Current Directory: /", "Tovik: Directory Listing: Done",
                                         "Tovik: Directory Entry: a"}));
  EXPECT_THAT(log.texts(30), IsEmpty());
}

TEST_F(StockSession, ListsAgainAfterTheHostChangedTheDirectoryAndEndsWhenThatFails) {
  server.login().expect("PWD").reply("257 \"/\"").active().expect("NLST").data("a").closeData().reply("226 Done");
  drive(activeMode);
  ASSERT_TRUE(log.waitFor("Tovik: Directory Entry: a"));
  server.expect("CWD pub").reply("250 In pub").active().expect("NLST").data("b").closeData().reply("226 Done");
  EXPECT_TRUE(stock->changeCwd("pub"));
  ASSERT_TRUE(log.waitFor("Tovik: Directory Entry: b"));
  server.expect("CDUP").reply("550 No").expect("QUIT").reply("221 Bye").expectClose();
  EXPECT_TRUE(stock->cdUp());
  ASSERT_TRUE(server.played());
  EXPECT_THAT(log.texts(30), ElementsAre("Tovik: Change to Parent Directory failed: No"));
  EXPECT_EQ(stock->getPwd().message, "quit still active");
}

TEST_F(StockSession, FreesTheContentOfAFileThatTheHostAskedFor) {
  server.login().expect("PWD").reply("550 No").passive().expect("RETR f").data("x").closeData().reply("226 Done");
  drive(passiveMode);
  ASSERT_TRUE(log.waitFor("Tovik: Current Directory failed: No"));
  EXPECT_TRUE(stock->getFile("f", passiveMode));
  EXPECT_TRUE(log.waitFor("Tovik: Retrieve f: Done"));
}

}  // namespace
}  // namespace tovik::ftp
