#include <memory>
#include <string>

#include "controller_fixture.h"

namespace tovik::ftp {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// The stock client on a controller whose control channel is a fake.
class StockClient : public ControllerFixture {
 protected:
  StockClient() {
    controller->client = &retriever;
    retriever.setController(controller.get());
    loggedIn();
    forget();
  }

  /// The client's own log line, which comes first; then what it sent.
  void expectLine(int level, const std::string& text) {
    ASSERT_FALSE(records().empty());
    EXPECT_EQ(records().at(0).level, level);
    EXPECT_EQ(records().at(0).text, text);
    EXPECT_THAT(records().at(0).file, ::testing::EndsWith("ftp_bridge.h"));
  }

  FileRetriever retriever{true};
};

TEST_F(StockClient, AsksForTheDirectoryOnceLoggedIn) {
  retriever.onConnected();
  EXPECT_THAT(logged(), ElementsAre("Tovik: controller getting current directory", "Tovik: [FTP] PWD"));
  EXPECT_THAT(channel.sent(), ElementsAre("PWD\r\n"));
}

TEST_F(StockClient, IsSilentAboutADroppedConnection) {
  retriever.onDisconnected();
  EXPECT_THAT(logged(), IsEmpty());
  EXPECT_THAT(channel.sent(), IsEmpty());
}

TEST_F(StockClient, LogsTheDirectoryAndListsIt) {
  retriever.onPwd("/usr/data");
  expectLine(0, "Tovik: Current Directory: /usr/data");
  EXPECT_THAT(channel.sent(), ElementsAre("PASV\r\n"));
}

TEST_F(StockClient, ListsInTheModeThatItWasGiven) {
  FileRetriever active(false);
  active.setController(controller.get());
  active.onCwd("text");
  ASSERT_EQ(channel.sent().size(), 1U);
  EXPECT_THAT(channel.sent().at(0), ::testing::StartsWith("PORT "));
}

TEST_F(StockClient, LogsAChangeOfDirectoryAndListsIt) {
  retriever.onCwd("now in /pub");
  expectLine(0, "Tovik: Change Directory: now in /pub");
  EXPECT_THAT(channel.sent(), ElementsAre("PASV\r\n"));
}

TEST_F(StockClient, LogsAFailedChangeOfDirectoryAndLogsOut) {
  retriever.onCwdFailed("no such directory");
  expectLine(30, "Tovik: Change Directory failed: no such directory");
  EXPECT_THAT(channel.sent(), ElementsAre("QUIT\r\n"));
  EXPECT_EQ(controller->getPwd().message, "quit still active");
}

TEST_F(StockClient, OnlyLogsAChangeToTheParentDirectory) {
  retriever.onCdup("now in /");
  EXPECT_THAT(logged(), ElementsAre("Tovik: Change to Parent Directory: now in /"));
  expectLine(0, "Tovik: Change to Parent Directory: now in /");
  EXPECT_THAT(channel.sent(), IsEmpty());
}

TEST_F(StockClient, LogsAFailedChangeToTheParentDirectoryAndLogsOut) {
  retriever.onCdupFailed("none");
  expectLine(30, "Tovik: Change to Parent Directory failed: none");
  EXPECT_THAT(channel.sent(), ElementsAre("QUIT\r\n"));
}

TEST_F(StockClient, LogsItsOtherOutcomesAndDoesNothingMore) {
  retriever.onPwdFailed("no");
  retriever.onNlst({"a", "b"}, "Done");
  retriever.onNlstFailed("no");
  retriever.onRetrieve("file", "Done", new std::string("x"));
  retriever.onRetrieve("file", "Done", nullptr);
  retriever.onRetrieveFailed("file", "no");
  std::vector<std::pair<int, std::string>> lines;
  for (const auto& record : records()) lines.emplace_back(record.level, record.text);
  using Line = std::pair<int, std::string>;
  EXPECT_THAT(lines,
              ElementsAre(Line(30, "Tovik: Current Directory failed: no"), Line(0, "Tovik: Directory Listing: Done"),
                          Line(0, "Tovik: Directory Entry: a"), Line(0, "Tovik: Directory Entry: b"),
                          Line(30, "Tovik: Directory Listing failed: no"), Line(0, "Tovik: Retrieve file: Done"),
                          Line(0, "Tovik: Retrieve file: Done"), Line(30, "Tovik: Retrieve file failed: no")));
  EXPECT_THAT(channel.sent(), IsEmpty());
}

TEST_F(StockClient, LogsOnlyItsFailuresAboveLevelZero) {
  for (const int threshold : {1, 30}) {
    qk::logging::SetMinLogLevel(threshold);
    forget();
    retriever.onPwd("/");
    controller->command = cmd_e::none;
    retriever.onCwd("text");
    controller->command = cmd_e::none;
    retriever.onCwdFailed("why");
    retriever.onCdup("text");
    retriever.onCdupFailed("why");
    controller->command = cmd_e::none;
    EXPECT_THAT(logged(),
                ElementsAre("Tovik: Change Directory failed: why", "Tovik: Change to Parent Directory failed: why"));
  }
}

TEST_F(StockClient, StillActsAboveTheLevelOfItsLines) {
  qk::logging::SetMinLogLevel(31);
  retriever.onCwdFailed("why");
  EXPECT_THAT(logged(), IsEmpty());
  EXPECT_THAT(channel.sent(), ElementsAre("QUIT\r\n"));
}

}  // namespace
}  // namespace tovik::ftp
