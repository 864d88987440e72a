#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "fetching.h"
#include "ftp_fetch/columns.h"

namespace testing_support {
namespace {

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class FtpFetchStats : public testing::Test, protected Fetching {
 protected:
  FtpFetchStats() {
    server.listing = "a\r\nb\r\n";
    server.files = {{"a", std::string(5000, '1')}, {"b", std::string(3000, '2')}};
  }

  LittleServer server;
};

TEST_F(FtpFetchStats, AreSilentUnlessAskedFor) {
  server.start();
  EXPECT_EQ(fetch(server.url()).errors, "");
}

TEST_F(FtpFetchStats, TellOfTheControlConnectionAndOfEachTransfer) {
  server.start();
  const Finished finished = fetch(server.url(), {"--stats"});
  EXPECT_EQ(finished.exitCode, 0);
  EXPECT_THAT(finished.output, HasSubstr("2 of 2 files, 8.0 kB"));
  EXPECT_THAT(finished.output, Not(HasSubstr("connected")));
  EXPECT_THAT(finished.errors, StartsWith("connections "));
  EXPECT_THAT(finished.errors, ContainsRegex("connections +4\nconnected +4\nended by the server +[34]\n"));
  EXPECT_THAT(finished.errors, ContainsRegex("\nreceived +8\\.[0-9] kB\nsent +[0-9]+ B\nwake-ups +[1-9][0-9]*\n"));
  EXPECT_THAT(finished.errors, ContainsRegex("\nlongest handler +[0-9.]+ [mu]?s\n$"));
}

TEST_F(FtpFetchStats, AreToldOfAListingTooAndWhereOnlyFailuresAreToBe) {
  server.start();
  const Finished finished = fetch(server.url(), {"--stats", "--quiet", "--list"});
  EXPECT_EQ(finished.output, "a\nb\n");
  EXPECT_THAT(finished.errors, ContainsRegex("^connections +2\n"));
}

TEST_F(FtpFetchStats, AreToldAfterWhatFailed) {
  server.on("USER", replying("530 No"));
  server.start();
  const Finished finished = fetch(server.url(), {"--stats"});
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_THAT(finished.errors, ContainsRegex("refused: 530 No\nconnections +1\nconnected +1\n"));
}

/// In lines that fit. Neither of two files is sent before both have been asked for.
TEST_F(FtpFetchStats, TellOfSessionsSideBySideTogetherAndOfEach) {
  if (const char* const missing = TerminalProgram::missing()) GTEST_SKIP() << missing;
  server.on("RETR", sendingOnceAskedFor(server, {"a", "b"}));
  server.start(2);
  TerminalProgram program(commandFor(server.url(), {"--stats", "--quiet", "--parallel", "2"}), 40);
  EXPECT_EQ(program.wait(), 0);
  const std::string shown = program.shown();
  EXPECT_THAT(shown, ContainsRegex("^sessions +2\r\nconnections +5\r\nconnected +5\r\n"));
  EXPECT_THAT(shown, ContainsRegex("\r\n\r\nsession  connections  received.*\r\n      1 +3 .*\r\n      2 +2 .*\r\n$"));
  std::istringstream lines(shown);
  for (std::string line; std::getline(lines, line);) EXPECT_LE(ftp_fetch::columnsOf(line), 40U) << line;
}

}  // namespace
}  // namespace testing_support
