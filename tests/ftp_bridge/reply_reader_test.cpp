#include <tovik/data_aggregator.h>

#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "controller_fixture.h"

namespace tovik::ftp {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string noReturnCode = "Tovik: protocol interpreter: no return code";
const std::string wrongReturnCode = "Tovik: protocol interpreter: wrong return code";

/// What parseReturnCode makes of a line, from outputs that show whether it wrote to them.
struct Parsed {
  bool valid = false;
  code_t code{7, 8, 9};
  bool continued = false;
  std::string rest = "untouched";

  explicit Parsed(const std::string& line, bool continuedBefore = false) : continued(continuedBefore) {
    valid = ProtocolInterpreter::parseReturnCode(line, code, continued, rest);
  }
};

TEST(ReturnCode, IsThreeDigitsEachInItsRange) {
  for (const char* line : {"100", "559", "220 Service ready", "230-Welcome", "500\tno", "250x", "200 "})
    EXPECT_TRUE(Parsed(line).valid) << line;
  for (const char* line : {"", "2", "22", "099", "600", "6", "260", "2x0", "22x", "x20", " 220", "-220", "26", "2/0"})
    EXPECT_FALSE(Parsed(line).valid) << line;
}

TEST(ReturnCode, IsHeldDigitByDigit) { EXPECT_EQ(Parsed("530 Not logged in").code, (code_t{5, 3, 0})); }

TEST(ReturnCode, IsWrittenAsFarAsTheLineWasRead) {
  EXPECT_EQ(Parsed("22").code, (code_t{7, 8, 9}));
  EXPECT_EQ(Parsed("620").code, (code_t{7, 8, 9}));
  EXPECT_EQ(Parsed("280").code, (code_t{2, 8, 9}));
  EXPECT_EQ(Parsed("25x").code, (code_t{2, 5, 9}));
  EXPECT_EQ(Parsed("25x").rest, "untouched");
}

TEST(ReturnCode, AloneOnItsLineHasAnEmptyRestAndIsNotContinued) {
  const Parsed parsed("230", true);
  EXPECT_TRUE(parsed.valid);
  EXPECT_FALSE(parsed.continued);
  EXPECT_EQ(parsed.rest, "");
}

TEST(ReturnCode, IsContinuedByAMinusSignOnly) {
  EXPECT_TRUE(Parsed("230-Welcome").continued);
  EXPECT_FALSE(Parsed("230 -Welcome").continued);
  EXPECT_FALSE(Parsed("230 Welcome").continued);
  EXPECT_TRUE(Parsed("230 Welcome", true).continued) << "without a minus sign it is left as it was";
}

TEST(ReturnCode, IsFollowedByAnyCharacterAndATrimmedRest) {
  EXPECT_EQ(Parsed("230-Welcome").rest, "Welcome");
  EXPECT_EQ(Parsed("230--Welcome").rest, "-Welcome");
  EXPECT_EQ(Parsed("230 Logged in").rest, "Logged in");
  EXPECT_EQ(Parsed("230:Logged in").rest, ":Logged in");
  EXPECT_EQ(Parsed("230 \t\v\f Logged  in \f\v\t\r\n").rest, "Logged  in");
  EXPECT_EQ(Parsed("230 \r\n").rest, "");
}

TEST(ReturnCode, PrintsItsDigits) {
  std::ostringstream out;
  out << code_t{5, 3, 0};
  EXPECT_EQ(out.str(), "530");
}

TEST(ReturnCode, IsAllZerosAtFirst) { EXPECT_EQ(code_t{}, (code_t{0, 0, 0})); }

/// With nothing pending after a login each complete reply is logged as it was understood, and does nothing else.
class ReplyReader : public ControllerFixture {
 protected:
  ReplyReader() {
    loggedIn();
    forget();
  }

  void serverSendsAll(const std::vector<std::string>& lines) {
    for (const auto& line : lines) serverSends(line);
  }

  /// The replies that were understood.
  std::vector<std::string> replies() const {
    std::vector<std::string> dumps;
    for (const auto& text : logged())
      if (text.starts_with("Tovik: [FTP] ")) dumps.push_back(text.substr(13));
    return dumps;
  }

  /// The reader's own complaints.
  std::vector<std::string> complaints() const {
    std::vector<std::string> texts = logged(30);
    std::erase_if(texts, [](const auto& text) { return text.find("bad pending command") != std::string::npos; });
    return texts;
  }
};

TEST_F(ReplyReader, StartsWithNoReplyOpen) {
  EXPECT_EQ(interpreter().replyState, 0);
  EXPECT_EQ(interpreter().replyCode, code_t{});
  EXPECT_THAT(interpreter().replyLines, IsEmpty());
}

TEST_F(ReplyReader, DeliversASingleLine) {
  serverSends("220 Service ready");
  EXPECT_THAT(replies(), ElementsAre("220 \"Service ready\" "));
  EXPECT_THAT(interpreter().replyLines, ElementsAre("Service ready")) << "kept until the next reply";
}

TEST_F(ReplyReader, GathersALineWithoutACodeAsAnEmptyText) {
  serverSendsAll({"230-Welcome", "  to this server", "230 Logged in"});
  EXPECT_THAT(replies(), ElementsAre("230 \"Welcome\" \n\"\" \n\"Logged in\" "));
  EXPECT_THAT(complaints(), IsEmpty());
}

TEST_F(ReplyReader, EndsAReplyWithAnyLineThatRepeatsItsCode) {
  serverSendsAll({"230-Welcome", "230-more", "230 done"});
  EXPECT_THAT(replies(), ElementsAre("230 \"Welcome\" \n\"more\" ", "230 \"done\" "));
}

TEST_F(ReplyReader, DropsALineOfAnotherCodeInsideAReply) {
  serverSendsAll({"150-Opening", "226 Done"});
  EXPECT_THAT(replies(), IsEmpty());
  EXPECT_THAT(complaints(), ElementsAre(wrongReturnCode));
  EXPECT_EQ(interpreter().replyState, 1);
  EXPECT_EQ(interpreter().replyCode, (code_t{1, 5, 0}));
  serverSends("150 Really");
  EXPECT_THAT(replies(), ElementsAre("150 \"Opening\" \n\"Really\" "));
}

TEST_F(ReplyReader, ComparesEveryDigitOfTheCode) {
  serverSendsAll({"211-Status", "311 no", "221 no", "212 no"});
  EXPECT_THAT(complaints(), ElementsAre(wrongReturnCode, wrongReturnCode, wrongReturnCode));
  EXPECT_THAT(replies(), IsEmpty());
}

TEST_F(ReplyReader, DropsALineWithoutACodeWhileNoReplyIsOpen) {
  serverSends("hello");
  EXPECT_THAT(logged(), ElementsAre(noReturnCode));
  EXPECT_THAT(interpreter().replyLines, IsEmpty());
}

TEST_F(ReplyReader, DropsLinesWhoseDigitsAreOutOfRange) {
  serverSendsAll({"099 no", "260 no", "6", ""});
  EXPECT_THAT(logged(), ElementsAre(noReturnCode, noReturnCode, noReturnCode, noReturnCode));
}

TEST_F(ReplyReader, AcceptsThreeCharactersAsAWholeReply) {
  interpreter().onData(nullptr, "220", 3, nullptr);
  EXPECT_THAT(replies(), ElementsAre("220 \"\" "));
}

TEST_F(ReplyReader, AcceptsACodeAndALineEndAsAWholeReply) {
  serverSends("220");
  EXPECT_THAT(replies(), ElementsAre("220 \"\" "));
}

TEST_F(ReplyReader, OpensAReplyWhoseFirstTextIsEmpty) {
  serverSends("220-");
  EXPECT_THAT(replies(), IsEmpty());
  EXPECT_EQ(interpreter().replyState, 1);
  EXPECT_THAT(interpreter().replyLines, ElementsAre(""));
}

TEST_F(ReplyReader, KeepsWhiteSpaceOutOfTheTexts) {
  serverSendsAll({"211-\t Status \v\f", "211 \f\v\t End\t "});
  EXPECT_THAT(replies(), ElementsAre("211 \"Status\" \n\"End\" "));
}

TEST_F(ReplyReader, ForgetsTheCodeOfAReplyThatHasEnded) {
  serverSendsAll({"211-Status", "211 End"});
  EXPECT_EQ(interpreter().replyState, 0);
  EXPECT_EQ(interpreter().replyCode, code_t{});
  EXPECT_THAT(interpreter().replyLines, ElementsAre("Status", "End"));
}

TEST_F(ReplyReader, ClearsTheTextsWhenTheNextReplyBegins) {
  serverSendsAll({"211-Status", "211 End", "220-New"});
  EXPECT_THAT(interpreter().replyLines, ElementsAre("New"));
}

TEST_F(ReplyReader, KeepsAReplyOpenAcrossChannels) {
  serverSends("211-Status");
  interpreter().onChannelDown(&channel, 0);
  interpreter().onChannelUp(&channel);
  serverSends("220 Service ready");
  EXPECT_THAT(complaints(), ElementsAre(wrongReturnCode));
  EXPECT_EQ(interpreter().replyState, 1);
}

TEST_F(ReplyReader, KeepsBytesOfValueZero) {
  serverSends(std::string("220 a\0b", 7));
  EXPECT_THAT(interpreter().replyLines, ElementsAre(std::string("a\0b", 3)));
}

TEST_F(ReplyReader, LogsNothingBelowTheThreshold) {
  qk::logging::SetMinLogLevel(31);
  serverSendsAll({"hello", "211-Status", "220 no"});
  EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(ReplyReader, LogsItsWarningsAtTheThreshold) {
  qk::logging::SetMinLogLevel(30);
  serverSendsAll({"hello", "211-Status", "220 no"});
  EXPECT_THAT(logged(), ElementsAre(noReturnCode, wrongReturnCode));
}

/// The bytes of the control connection on their way to the reader.
class ReplyStream : public ReplyReader {
 protected:
  ReplyStream() {
    DataAggregator* made = nullptr;
    EXPECT_TRUE(interpreter().getDataAggregator(&channel, made));
    aggregator_.reset(made);
  }

  void arrives(std::string bytes) {
    Buffer buffer(bytes.data(), bytes.size());
    aggregator_->handleBuffer(&buffer, nullptr);
  }

  std::unique_ptr<DataAggregator> aggregator_;
};

const std::string threeReplies = "220-Hello\r\n there\r\n220 Go\r\nhello\r\n150-x\r\n226 y\r\n150 z\r\n250\r\n";

TEST_F(ReplyStream, IsUnderstoodTheSameWhereverItIsSplit) {
  arrives(threeReplies);
  const auto whole = logged();
  ASSERT_EQ(replies().size(), 3U);
  for (std::string::size_type cut = 0; cut <= threeReplies.size(); ++cut) {
    forget();
    arrives(threeReplies.substr(0, cut));
    arrives(threeReplies.substr(cut));
    EXPECT_EQ(logged(), whole) << "cut at " << cut;
  }
}

TEST_F(ReplyStream, IsUnderstoodByteByByte) {
  for (const char byte : threeReplies) arrives(std::string(1, byte));
  EXPECT_THAT(replies(), ElementsAre("220 \"Hello\" \n\"\" \n\"Go\" ", "150 \"x\" \n\"z\" ", "250 \"\" "));
}

TEST_F(ReplyStream, HasItsLinesEndedByCarriageReturnAndLineFeedTogetherOnly) {
  arrives("220 a\nb\rc\r");
  EXPECT_THAT(replies(), IsEmpty());
  arrives("\n");
  EXPECT_THAT(replies(), ElementsAre("220 \"a\nb\rc\" "));
}

}  // namespace
}  // namespace tovik::ftp
