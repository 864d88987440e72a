#include <memory>
#include <string>
#include <vector>

#include "controller_fixture.h"

namespace tovik::ftp {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// Transfers whose data connection is set up; the test gives the data and the final reply.
class Transfer : public ControllerFixture {
 protected:
  Transfer() { loggedIn(); }

  void listing() {
    EXPECT_TRUE(controller->getNlst(true));
    forget();
  }
  void retrieval() {
    EXPECT_TRUE(controller->getFile("file", true));
    forget();
  }

  /// How a listing of some data is reported.
  std::string listed(const std::string& data) {
    listing();
    dataArrives(data);
    controller->onNlst(true, "Done");
    return client.lines().back();
  }
};

TEST_F(Transfer, LogsWhatItIsAboutToDo) {
  forget();
  EXPECT_TRUE(controller->getNlst(true));
  EXPECT_THAT(logged(), ElementsAre("Tovik: controller getting directory listing", "Tovik: [FTP] PASV"));
  controller->command = cmd_e::none;
  forget();
  EXPECT_TRUE(controller->getFile(" a b ", true));
  EXPECT_THAT(logged(), ElementsAre("Tovik: controller getting file  a b ", "Tovik: [FTP] PASV"));
  EXPECT_EQ(controller->fileName, " a b ");
  for (const auto& record : records()) EXPECT_EQ(record.level, 0);
}

TEST_F(Transfer, LogsNothingAboveLevelZero) {
  qk::logging::SetMinLogLevel(1);
  forget();
  retrieval();
  dataArrives("x");
  controller->onDataUp();
  controller->onDataDown();
  controller->onRetrieve(true, "Done");
  EXPECT_THAT(logged(), IsEmpty());
  EXPECT_THAT(client.lines(), ElementsAre("onRetrieve file | Done | x"));
}

TEST_F(Transfer, SplitsAListingIntoItsNames) {
  EXPECT_EQ(listed("a\r\nb\r\n"), "onNlst a,b | Done");
  EXPECT_EQ(listed("a\nb\n"), "onNlst a,b | Done");
}

TEST_F(Transfer, SkipsEmptyLinesAndKeepsBlanksInsideNames) {
  EXPECT_EQ(listed("name\r\n\r\n  \r\n two words \r\n"), "onNlst name,two words | Done");
}

TEST_F(Transfer, AcceptsALastNameWithoutALineEnd) {
  EXPECT_EQ(listed("a\r\nb"), "onNlst a,b | Done");
  EXPECT_EQ(listed("only"), "onNlst only | Done");
}

TEST_F(Transfer, ListsNothingAsASuccessWithoutNames) {
  EXPECT_EQ(listed(""), "onNlst  | Done");
  EXPECT_EQ(listed("\r\n"), "onNlst  | Done");
  EXPECT_EQ(listed("\n\n"), "onNlst  | Done");
}

TEST_F(Transfer, EndsLinesAtLineFeedsOnly) {
  EXPECT_EQ(listed("a\rb\r\nc\vd\n"), "onNlst a\rb,c\vd | Done");
  EXPECT_EQ(listed(std::string("a\0b\n", 4)), std::string("onNlst a\0b | Done", 17));
}

TEST_F(Transfer, TrimsAllWhiteSpaceAtTheEndsOfNames) { EXPECT_EQ(listed(" \t\r\v\fa\f\v\r\t \n"), "onNlst a | Done"); }

TEST_F(Transfer, ReportsAListingOnceWhenTheReplyComesFirst) {
  listing();
  controller->onNlst(true, "Done");
  EXPECT_THAT(client.lines(), IsEmpty());
  dataArrives("a\r\n");
  EXPECT_THAT(client.lines(), ElementsAre("onNlst a | Done"));
  EXPECT_EQ(controller->received, nullptr);
}

TEST_F(Transfer, ReportsAListingOnceWhenTheDataComesFirst) {
  listing();
  dataArrives("a\r\n");
  EXPECT_THAT(client.lines(), IsEmpty());
  controller->onNlst(true, "Done");
  EXPECT_THAT(client.lines(), ElementsAre("onNlst a | Done"));
  EXPECT_EQ(controller->received, nullptr);
}

TEST_F(Transfer, ReportsARetrievalOnceInEitherOrder) {
  retrieval();
  controller->onRetrieve(true, "Done");
  EXPECT_THAT(client.lines(), IsEmpty());
  dataArrives("x");
  EXPECT_THAT(client.lines(), ElementsAre("onRetrieve file | Done | x"));
  retrieval();
  dataArrives("y");
  EXPECT_EQ(client.lines().size(), 1U);
  controller->onRetrieve(true, "Done");
  EXPECT_THAT(client.lines(), ElementsAre("onRetrieve file | Done | x", "onRetrieve file | Done | y"));
}

TEST_F(Transfer, ReportsARefusalOnlyAfterTheData) {
  listing();
  controller->onNlst(false, "no");
  EXPECT_THAT(client.lines(), IsEmpty());
  EXPECT_EQ(controller->getPwd().message, "nlst still active");
  dataArrives("");
  EXPECT_THAT(client.lines(), ElementsAre("onNlstFailed no"));
  retrieval();
  controller->onRetrieve(false, "never");
  dataArrives("");
  EXPECT_THAT(client.lines(), ElementsAre("onNlstFailed no", "onRetrieveFailed file | never"));
}

TEST_F(Transfer, KeepsWhatAFailedTransferReceivedUntilTheNextOne) {
  retrieval();
  dataArrives("half");
  controller->onRetrieve(false, "no");
  ASSERT_NE(controller->received, nullptr);
  EXPECT_EQ(*controller->received, "half");
  listing();
  EXPECT_EQ(controller->received, nullptr);
}

TEST_F(Transfer, HasNoNamesForAPositiveListingReplyWithoutData) {
  listing();
  controller->onNlst(true, "Done");
  controller->onDataReceived(nullptr);
  EXPECT_THAT(client.lines(), ElementsAre("onNlstFailed no data"));
  EXPECT_THAT(logged(), ElementsAre("Tovik: controller received 0 bytes"));
}

TEST_F(Transfer, DeliversANullContentForAPositiveRetrievalReplyWithoutData) {
  retrieval();
  controller->onRetrieve(true, "Done");
  controller->onDataReceived(nullptr);
  EXPECT_THAT(client.lines(), ElementsAre("onRetrieve file | Done | null"));
}

TEST_F(Transfer, TransfersOwnershipOfTheContent) {
  retrieval();
  dataArrives("x");
  controller->onRetrieve(true, "Done");
  EXPECT_EQ(controller->received, nullptr);
  const auto content = client.content();
  EXPECT_TRUE(controller->getFile("other", true));
  EXPECT_EQ(*content, "x");
}

TEST_F(Transfer, DeliversTheContentByteForByte) {
  const std::string bytes("a\r\n\0\n\xff ", 7);
  retrieval();
  dataArrives(bytes);
  controller->onRetrieve(true, "Done");
  EXPECT_EQ(*client.content(), bytes);
}

TEST_F(Transfer, ReplacesOlderDataByNewer) {
  retrieval();
  dataArrives("old");
  dataArrives("new");
  controller->onRetrieve(true, "Done");
  EXPECT_THAT(client.lines(), ElementsAre("onRetrieve file | Done | new"));
}

TEST_F(Transfer, LogsTheNumberOfTheCommandAndOfTheBytes) {
  listing();
  dataArrives("abc");
  EXPECT_THAT(logged(), ElementsAre("Tovik: controller 4 received 3 bytes"));
  controller->command = cmd_e::none;
  retrieval();
  dataArrives("");
  EXPECT_THAT(logged(), ElementsAre("Tovik: controller 5 received 0 bytes"));
  for (const auto& record : records()) EXPECT_EQ(record.level, 0);
}

TEST_F(Transfer, ReportsNothingForDataOutsideATransfer) {
  EXPECT_TRUE(controller->getPwd());
  controller->replyReceived = true;
  dataArrives("x");
  EXPECT_THAT(client.lines(), IsEmpty());
  EXPECT_THAT(logged(), Contains("Tovik: controller 1 received 1 bytes"));
  ASSERT_NE(controller->received, nullptr);
}

TEST_F(Transfer, RefusesAnotherAndLeavesTheRunningOneUntouched) {
  listing();
  const Result refused = controller->getFile("other", true);
  EXPECT_FALSE(refused);
  EXPECT_EQ(refused.message, "nlst still active");
  dataArrives("a");
  controller->onNlst(true, "Done");
  EXPECT_THAT(client.lines(), ElementsAre("onNlst a | Done"));
}

TEST_F(Transfer, StartsTheNextInsideTheCallbackOfTheLast) {
  listing();
  client.whenever("onNlst", [&] { EXPECT_TRUE(controller->getNlst(true)); });
  dataArrives("a");
  controller->onNlst(true, "Done");
  EXPECT_EQ(controller->command, cmd_e::nlst);
  EXPECT_THAT(channel.sent(), ElementsAre("PASV\r\n"));
  EXPECT_FALSE(controller->replyReceived);
}

}  // namespace
}  // namespace tovik::ftp
