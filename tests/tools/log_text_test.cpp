#include "ftp_fetch/log_text.h"

#include <gtest/gtest.h>

namespace ftp_fetch {
namespace {

TEST(LogText, ShowsAReply) {
  const auto reply = replyIn("Tovik: [FTP] 530 \"Login incorrect.\" ");
  ASSERT_TRUE(reply);
  EXPECT_EQ(reply->code, 530);
  EXPECT_EQ(reply->text, "Login incorrect.");
  EXPECT_EQ(reply->print(), "530 Login incorrect.");
}

TEST(LogText, ShowsTheFirstLineOfALongReply) {
  EXPECT_EQ(replyIn("Tovik: [FTP] 220 \"Welcome\" \n\"to\" \n\"us\" ")->print(), "220 Welcome");
}

TEST(LogText, ShowsAReplyWithQuotesInIt) {
  EXPECT_EQ(replyIn("Tovik: [FTP] 257 \"\"/a\" is current\" ")->text, "\"/a\" is current");
}

TEST(LogText, ShowsAReplyWithoutText) {
  EXPECT_EQ(replyIn("Tovik: [FTP] 226 ")->text, "");
  EXPECT_EQ(replyIn("Tovik: [FTP] 226 \"\" ")->text, "");
}

TEST(LogText, HasNoReplyInACommandOrAnyOtherRecord) {
  for (const char* const record : {"Tovik: [FTP] RETR 550 ", "Tovik: [FTP] NLST", "Tovik: onDataDown", "", "550 "})
    EXPECT_FALSE(replyIn(record)) << record;
}

TEST(LogText, ShowsACommand) {
  EXPECT_EQ(commandIn("Tovik: [FTP] RETR a b"), "RETR a b");
  EXPECT_FALSE(commandIn("Tovik: [FTP] 226 \"\" "));
  EXPECT_FALSE(commandIn("Tovik: controller getting file a"));
}

TEST(LogText, MasksPasswordsAndAccounts) {
  EXPECT_EQ(masked("Tovik: [FTP] PASS secret"), "Tovik: [FTP] PASS ****");
  EXPECT_EQ(masked("Tovik: [FTP] ACCT secret"), "Tovik: [FTP] ACCT ****");
  EXPECT_EQ(commandIn("Tovik: [FTP] PASS "), "PASS ****");
}

TEST(LogText, LeavesEverythingElseAsItIs) {
  for (const char* const record : {"Tovik: [FTP] USER me", "Tovik: [FTP] 331 \"PASS \" ", "Tovik: data connection up"})
    EXPECT_EQ(masked(record), record);
}

TEST(LogText, IsToldWithoutWhoLoggedIt) {
  EXPECT_EQ(withoutOrigin("Tovik: protocol_interpreter: connect: Connection refused"), "connect: Connection refused");
  EXPECT_EQ(withoutOrigin("Tovik: protocol interpreter: no return code"), "no return code");
  EXPECT_EQ(withoutOrigin("something else"), "something else");
}

}  // namespace
}  // namespace ftp_fetch
