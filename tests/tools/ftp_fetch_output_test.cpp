#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "fetching.h"

namespace testing_support {
namespace {

using testing::ElementsAre;
using testing::StartsWith;
using Talk = LittleServer::Talk;

/// Whoever reads what it prints is out of room, or gone.
class FtpFetchOutput : public testing::Test, protected Fetching {
 protected:
  FtpFetchOutput() {
    server.listing = "a\r\nb\r\n";
    server.files = {{"a", "1"}, {"b", "2"}};
  }

  /// Runs a command with a shell's words before it.
  Finished finishIn(const std::string& shell, const Program::Arguments& command) const {
    Program::Arguments all{"/bin/sh", "-c", shell, "sh"};
    all.insert(all.end(), command.begin(), command.end());
    return finish(all);
  }

  LittleServer server;
};

TEST_F(FtpFetchOutput, FailsWhenTheListingCannotBeWritten) {
  server.start();
  const Finished finished = finishIn("exec \"$@\" >/dev/full", commandFor(server.url(), {"--list"}));
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_EQ(finished.errors, "ftp_fetch: standard output: No space left on device\n");
}

TEST_F(FtpFetchOutput, FetchesOnWhenItCannotSayWhatItFetched) {
  server.start();
  const Finished finished = finishIn("exec \"$@\" >/dev/full", commandFor(server.url()));
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_EQ(finished.errors, "ftp_fetch: standard output: No space left on device\n");
  EXPECT_THAT(into.names(), ElementsAre("a", "b"));
}

class FtpFetchUnread : public FtpFetchOutput {
 protected:
  /// Answers a command only when nobody reads the program's output any more.
  void closeOutputBefore(const std::string& verb, const LittleServer::Instruction& answer) {
    server.on(verb, [this, answer](Talk& talk, const std::string& argument) {
      EXPECT_TRUE(closed.waitUntil([](bool value) { return value; }));
      answer(talk, argument);
    });
    server.start();
  }

  int finishUnread(const Program::Arguments& more) {
    Program program(commandFor(server.url(), more));
    program.closeOutput();
    closed.change([](bool& value) { value = true; });
    const int exitCode = program.wait();
    errors = program.errors();
    return exitCode;
  }

  Awaited<bool> closed;
  std::string errors;
};

TEST_F(FtpFetchUnread, EndsAListingSilently) {
  closeOutputBefore("NLST", [](Talk& talk, const std::string&) {
    talk.openData();
    talk.reply("150 Names");
    talk.sendData("a\r\nb\r\n");
    talk.closeData();
    talk.reply("226 Done");
  });
  EXPECT_EQ(finishUnread({"--list"}), 128 + SIGPIPE);
  EXPECT_EQ(errors, "");
}

TEST_F(FtpFetchUnread, StopsFetchingAndSaysSo) {
  closeOutputBefore("RETR", [](Talk& talk, const std::string& name) {
    talk.openData();
    talk.reply("150 Here");
    if (name == "b") return talk.waitForDataEnd();
    talk.closeData();
    talk.reply("226 Done");
  });
  EXPECT_EQ(finishUnread({"a", "b"}), 128 + SIGPIPE);
  EXPECT_THAT(errors, StartsWith("ftp_fetch: interrupted during RETR "));
  EXPECT_THAT(into.names(), ElementsAre("a"));
}

/// As nohup starts it.
TEST_F(FtpFetchOutput, LivesOnAfterAHangUpWhenItWasToldToIgnoreIt) {
  Awaited<bool> hungUp;
  server.on("RETR", [&](Talk& talk, const std::string&) {
    EXPECT_TRUE(hungUp.waitUntil([](bool value) { return value; }));
    talk.openData();
    talk.reply("150 Here");
    talk.closeData();
    talk.reply("226 Done");
  });
  server.start();
  Program::Arguments command{"/bin/sh", "-c", "trap '' HUP; exec \"$@\"", "sh"};
  for (const auto& argument : commandFor(server.url(), {"a"})) command.push_back(argument);
  Program program(command);
  ASSERT_TRUE(server.waitForCommand("RETR a"));
  program.signal(SIGHUP);
  hungUp.change([](bool& value) { value = true; });
  EXPECT_EQ(program.wait(), 0) << program.errors();
  EXPECT_THAT(into.names(), ElementsAre("a"));
}

}  // namespace
}  // namespace testing_support
