#include "ftp_fetch/conversation.h"

#include <gtest/gtest.h>

#include "ftp_fetch/watch.h"

namespace ftp_fetch {
namespace {

using namespace std::chrono_literals;

qk::logging::Record record(int level, const std::string& text) {
  return {level, 0, 1, nullptr, "file.cpp", 1, text, "", std::chrono::system_clock::now()};
}

class ConversationTest : public testing::Test {
 protected:
  void hear(const std::string& reply) { conversation.note(record(0, "Tovik: [FTP] " + reply)); }
  void warn(const std::string& text) { conversation.note(record(30, text)); }

  /// The verdict so many seconds after the present command began, or was refused.
  std::optional<Outcome> verdictAfter(std::chrono::milliseconds time) const {
    const auto state = conversation.state();
    return judge(state, lastData, state.refusedAt.value_or(state.since) + time, limits);
  }

  Conversation conversation;
  Time lastData;
  Limits limits{60s, 10s};
};

TEST_F(ConversationTest, IsWorthWaitingOnUntilTheLimit) {
  conversation.begin("RETR a");
  EXPECT_EQ(verdictAfter(59'999ms), std::nullopt);
  EXPECT_EQ(verdictAfter(60s), Outcome::timedOut);
}

TEST_F(ConversationTest, HasItsLimitSinceTheLastDataAndNotSinceTheStart) {
  conversation.begin("RETR a");
  lastData = conversation.state().since + 100s;
  EXPECT_EQ(verdictAfter(159'999ms), std::nullopt);
  EXPECT_EQ(verdictAfter(160s), Outcome::timedOut);
}

TEST_F(ConversationTest, OfOldDataHasItsLimitSinceTheCommand) {
  lastData = std::chrono::steady_clock::now() - 1h;
  conversation.begin("RETR a");
  EXPECT_EQ(verdictAfter(59'999ms), std::nullopt);
}

TEST_F(ConversationTest, WithoutLimitsIsWaitedOnForEver) {
  limits = {0s, 0s};
  conversation.begin("RETR a");
  hear("550 \"No\" ");
  EXPECT_EQ(verdictAfter(1000h), std::nullopt);
}

TEST_F(ConversationTest, IsOverAtOnceWhenALoginIsRefused) {
  for (const char* const reply : {"530 \"\" ", "500 \"\" ", "501 \"\" ", "503 \"\" ", "421 \"\" "}) {
    conversation.beginLogin("host");
    hear("220 \"Ready\" ");
    EXPECT_EQ(verdictAfter(0s), std::nullopt);
    hear(reply);
    EXPECT_EQ(verdictAfter(0s), Outcome::loginRefused) << reply;
  }
}

TEST_F(ConversationTest, IsStuckWhenARefusedCommandDoesNotEnd) {
  conversation.begin("RETR a");
  hear("550 \"No\" ");
  EXPECT_EQ(verdictAfter(10'999ms), std::nullopt);
  EXPECT_EQ(verdictAfter(11s), Outcome::stuck);
}

TEST_F(ConversationTest, ForgetsARefusalWithTheNextCommand) {
  conversation.begin("RETR a");
  hear("550 \"No\" ");
  conversation.begin("RETR b");
  EXPECT_EQ(conversation.state().refusedAt, std::nullopt);
  EXPECT_EQ(verdictAfter(30s), std::nullopt);
}

TEST_F(ConversationTest, DoesNotWaitLongForAGoodbye) {
  limits.command = 0s;
  conversation.beginLogout();
  EXPECT_EQ(verdictAfter(4'999ms), std::nullopt);
  EXPECT_EQ(verdictAfter(5s), Outcome::timedOut);
}

TEST_F(ConversationTest, IsOverWhenTheSessionHasEnded) {
  conversation.begin("RETR a");
  conversation.end();
  EXPECT_EQ(verdictAfter(0s), Outcome::ended);
}

TEST_F(ConversationTest, KnowsTheLastReplyTheLastCommandAndTheLastWarning) {
  conversation.beginLogin("host");
  hear("220 \"Ready\" ");
  hear("PASS secret");
  hear("230 \"In\" ");
  warn("Tovik: something");
  const auto state = conversation.state();
  EXPECT_EQ(state.command, "login at host");
  EXPECT_EQ(state.sent, "PASS ****");
  EXPECT_EQ(state.lastReply->print(), "230 In");
  EXPECT_EQ(state.lastWarning, "Tovik: something");
}

TEST_F(ConversationTest, ForgetsAFormerSession) {
  conversation.begin("RETR a");
  hear("550 \"No\" ");
  conversation.end();
  const auto before = conversation.state().number;
  conversation.beginLogin("host");
  const auto state = conversation.state();
  EXPECT_FALSE(state.ended);
  EXPECT_FALSE(state.lastReply);
  EXPECT_EQ(state.number, before + 1);
}

}  // namespace
}  // namespace ftp_fetch
