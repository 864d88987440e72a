#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstring>

#include "fetching.h"

namespace testing_support {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using Talk = LittleServer::Talk;

/// Servers that hang, break off or leave things half done.
class FtpFetchLimits : public testing::Test, protected Fetching {
 protected:
  FtpFetchLimits() { server.files = {{"good", "fine"}}; }

  std::string address() const { return "127.0.0.1:" + std::to_string(server.port()); }

  LittleServer server;
};

TEST_F(FtpFetchLimits, GivesUpAServerThatNeverAnswers) {
  server.on("", [](Talk& talk, const std::string&) { talk.waitForStop(); });
  server.start();
  const Finished finished = fetch(server.url(), {"--timeout", "1", "a", "b"});
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_EQ(finished.errors, "ftp_fetch: login at " + address() + ": no progress for 1 s; no reply so far\n");
  EXPECT_THAT(finished.output, HasSubstr("0 of 2 files, "));
}

TEST_F(FtpFetchLimits, SaysWhichCommandHangsAndWhatTheServerSaidLast) {
  server.on("CWD", [](Talk& talk, const std::string&) { talk.waitForStop(); });
  server.start();
  const Finished finished = fetch(server.url("/dir"), {"--timeout", "1"});
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_EQ(finished.errors, "ftp_fetch: CWD dir: no progress for 1 s; last reply: 230 In\n");
}

TEST_F(FtpFetchLimits, GivesUpAFileThatStops) {
  server.on("RETR", [](Talk& talk, const std::string&) {
    talk.openData();
    talk.reply("150 Here");
    talk.sendData("some of it");
    talk.waitForStop();
  });
  server.start();
  const Finished finished = fetch(server.url(), {"--timeout", "1", "slow", "good"});
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_EQ(finished.errors, "ftp_fetch: RETR slow: no progress for 1 s; last reply: 150 Here\n");
  EXPECT_THAT(finished.output, HasSubstr("0 of 2 files, "));
  EXPECT_THAT(into.names(), IsEmpty());
}

TEST_F(FtpFetchLimits, GoesOnWhenARefusalLeavesTheDataConnectionOpen) {
  server.on("RETR", [](Talk& talk, const std::string& name) {
    if (name != "good") return talk.reply("550 Failed to open file.");
    talk.openData();
    talk.reply("150 Here");
    talk.sendData("fine");
    talk.closeData();
    talk.reply("226 Done");
  });
  server.start();
  const Finished finished = fetch(server.url(), {"--first-byte-limit", "1", "bad", "good"});
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_EQ(finished.errors, "ftp_fetch: bad: Failed to open file.\n");
  EXPECT_THAT(into.names(), ElementsAre("good"));
}

/// The server takes this side's end of the data connection for the client's wish.
TEST_F(FtpFetchLimits, DoesNotTakeAFileForEmptyThatItCutShort) {
  server.on("RETR", [](Talk& talk, const std::string&) {
    talk.openData();
    talk.reply("150 Soon");
    talk.waitForDataEnd();
    talk.reply("226 Done");
  });
  server.start();
  const Finished finished = fetch(server.url(), {"--first-byte-limit", "1", "late"});
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_EQ(finished.errors, "ftp_fetch: late: nothing received within the limit of 1 s\n");
  EXPECT_THAT(into.names(), IsEmpty());
}

TEST_F(FtpFetchLimits, ReportsARefusedListingThatTheServerLeavesHanging) {
  server.on("PORT", replying("200 Noted"));
  server.on("NLST", replying("550 No files found."));
  server.start();
  const Finished finished = fetch(server.url(), {"--active", "--first-byte-limit", "1"});
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_EQ(finished.errors, "ftp_fetch: NLST refused: 550 No files found.\n");
}

TEST_F(FtpFetchLimits, ReportsAConnectionThatBreaks) {
  server.on("RETR", [](Talk& talk, const std::string&) { talk.hangUp(); });
  server.start();
  const Finished finished = fetch(server.url(), {"a", "b", "c"});
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_THAT(finished.errors, StartsWith("ftp_fetch: the connection ended during RETR a; last reply: 227 "));
  EXPECT_THAT(finished.output, HasSubstr("0 of 3 files, "));
  EXPECT_THAT(into.names(), IsEmpty());
}

TEST_F(FtpFetchLimits, ReportsAServerThatSendsItAway) {
  server.on("", replying("421 Too many users"));
  server.start();
  const Finished finished = fetch(server.url());
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_THAT(finished.errors, HasSubstr("421 Too many users"));
}

TEST_F(FtpFetchLimits, HasFetchedEverythingWhetherTheServerSaysGoodbyeOrNot) {
  server.on("QUIT", [](Talk& talk, const std::string&) { talk.hangUp(); });
  server.start();
  const Finished finished = fetch(server.url(), {"good"});
  EXPECT_EQ(finished.exitCode, 0) << finished.errors;
  EXPECT_THAT(into.names(), ElementsAre("good"));
}

TEST_F(FtpFetchLimits, ReportsAFileThatTheServerBreaksOff) {
  server.on("RETR", [](Talk& talk, const std::string&) {
    talk.openData();
    talk.reply("150 Here");
    talk.sendData("half");
    talk.closeData();
    talk.reply("426 Disk error");
  });
  server.start();
  const Finished finished = fetch(server.url(), {"half"});
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_EQ(finished.errors, "ftp_fetch: half: Disk error\n");
  EXPECT_THAT(into.names(), IsEmpty());
}

class FtpFetchInterrupted : public FtpFetchLimits, public testing::WithParamInterface<int> {};

INSTANTIATE_TEST_SUITE_P(, FtpFetchInterrupted, testing::Values(SIGINT, SIGTERM, SIGHUP),
                         [](const auto& signal) { return std::string("SIG") + ::sigabbrev_np(signal.param); });

TEST_P(FtpFetchInterrupted, EndsCleanlyInTheMiddleOfAFile) {
  server.on("RETR", [](Talk& talk, const std::string&) {
    talk.openData();
    talk.reply("150 Here");
    talk.sendData("some of it");
    talk.waitForDataEnd();
  });
  server.start();
  Program program(commandFor(server.url(), {"a", "b"}));
  ASSERT_TRUE(server.waitForCommand("RETR a"));
  program.signal(GetParam());
  EXPECT_EQ(program.wait(), 128 + GetParam());
  EXPECT_THAT(program.errors(), StartsWith("ftp_fetch: interrupted during "));
  EXPECT_THAT(into.names(), IsEmpty());
}

}  // namespace
}  // namespace testing_support
