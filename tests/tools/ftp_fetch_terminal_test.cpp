#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "fetching.h"
#include "ftp_fetch/columns.h"

namespace testing_support {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using Talk = LittleServer::Talk;

/// As a person sees it.
class FtpFetchTerminal : public testing::Test, protected Fetching {
 protected:
  void SetUp() override {
    if (const char* const missing = TerminalProgram::missing()) GTEST_SKIP() << missing;
  }

  static std::size_t longestProgress(const std::string& shown) {
    std::size_t longest = 0;
    std::string piece;
    for (std::istringstream pieces(shown); std::getline(pieces, piece, '\r');)
      if (piece.find("....") != std::string::npos)
        longest = std::max(longest, ftp_fetch::columnsOf(piece) - (piece.starts_with("\x1b[K") ? 3 : 0));
    return longest;
  }

  LittleServer server;
};

TEST_F(FtpFetchTerminal, ShowsProgressThatFitsTheTerminalAndWipesItOut) {
  Awaited<bool> seen;
  server.on("RETR", [&](Talk& talk, const std::string&) {
    talk.openData();
    talk.reply("150 Here");
    talk.sendData(std::string(1500, 'x'));
    EXPECT_TRUE(seen.waitUntil([](bool value) { return value; }));
    talk.closeData();
    talk.reply("226 Done");
  });
  server.start();
  TerminalProgram program(commandFor(server.url(), {"a-file-with-a-name-that-is-rather-long"}), 60);
  EXPECT_TRUE(program.showsUntil("0/1  1."));
  seen.change([](bool& value) { value = true; });
  EXPECT_EQ(program.wait(), 0);
  EXPECT_THAT(program.shown(), HasSubstr("\r\x1b[Ka-file-with-a-name"));
  EXPECT_THAT(program.shown(), HasSubstr("1 of 1 files, 1.5 kB"));
  EXPECT_EQ(longestProgress(program.shown()), 59U);
}

TEST_F(FtpFetchTerminal, HasLinesThatFitANarrowTerminal) {
  server.listing = "a-file-with-a-name-that-is-rather-long.txt\r\n\u4e2d\u6587.txt\r\n";
  server.files = {{"a-file-with-a-name-that-is-rather-long.txt", "1"}, {"\u4e2d\u6587.txt", "2"}};
  server.start();
  TerminalProgram program(commandFor(server.url()), 40);
  EXPECT_EQ(program.wait(), 0);
  EXPECT_THAT(program.shown(), HasSubstr("a-file-with-a-\u2026ther-long.txt  1 B\r\n"));
  EXPECT_THAT(program.shown(), HasSubstr("\u4e2d\u6587.txt                      1 B\r\n"));
  EXPECT_THAT(into.names(), ElementsAre("a-file-with-a-name-that-is-rather-long.txt", "\u4e2d\u6587.txt"));
}

TEST_F(FtpFetchTerminal, AsksForAPasswordThatItDoesNotShow) {
  server.files = {{"good", "fine"}};
  server.start();
  const std::string url = "ftp://me@127.0.0.1:" + std::to_string(server.port());
  TerminalProgram program(commandFor(url, {"good"}), 80);
  ASSERT_TRUE(program.showsUntil("Password for me@127.0.0.1: "));
  program.type("secret\n");
  EXPECT_EQ(program.wait(), 0);
  EXPECT_THAT(program.shown(), Not(HasSubstr("secret")));
  EXPECT_TRUE(server.waitForCommand("PASS secret"));
  EXPECT_THAT(into.names(), ElementsAre("good"));
}

TEST_F(FtpFetchTerminal, IsInterruptedWhileItAsks) {
  TerminalProgram program(commandFor("ftp://me@127.0.0.1"), 80);
  ASSERT_TRUE(program.showsUntil("Password for "));
  program.type("\x03");
  EXPECT_EQ(program.wait(), 130);
}

}  // namespace
}  // namespace testing_support
