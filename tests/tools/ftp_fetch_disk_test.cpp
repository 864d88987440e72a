#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "fetching.h"

namespace testing_support {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using Talk = LittleServer::Talk;

Program::Arguments joined(Program::Arguments first, const Program::Arguments& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

/// Directories that take no files, or no more of them.
class FtpFetchDisk : public testing::Test, protected Fetching {
 protected:
  FtpFetchDisk() {
    server.listing = "a\r\nb\r\nc\r\n";
    server.files = {{"a", "1"}, {"b", std::string(1 << 20, 'x')}, {"c", "3"}};
  }

  LittleServer server;
};

TEST_F(FtpFetchDisk, StopsWithOneMessageWhenItsDirectoryGoes) {
  server.on("RETR", [&](Talk& talk, const std::string& name) {
    if (name == "b") std::filesystem::remove_all(into / "here");
    talk.openData();
    talk.reply("150 Here");
    talk.closeData();
    talk.reply("226 Done");
  });
  server.start();
  const Finished finished = finish({FTP_FETCH, server.url(), "-o", into / "here"});
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_EQ(finished.errors, "ftp_fetch: " + into / "here" + ": No such file or directory; stopped at b\n");
  EXPECT_THAT(finished.output, HasSubstr("1 of 3 files, "));
  EXPECT_TRUE(server.waitForCommand("QUIT"));
  EXPECT_THAT(server.commands(), Not(testing::Contains("RETR c")));
}

/// In a mount namespace of its own, a small disk can be filled without anyone else's noticing.
class FtpFetchFullDisk : public FtpFetchDisk {
 protected:
  /// The first of the arguments is the script's $0.
  static Program::Arguments withOwnMounts(const std::string& script, const Program::Arguments& arguments) {
    Program::Arguments all{"unshare", "--mount"};
    if (::geteuid() != 0) all.emplace_back("--map-root-user");
    return joined(joined(std::move(all), {"/bin/sh", "-c", script}), arguments);
  }

  void SetUp() override {
    if (finish(withOwnMounts("mount -t tmpfs none \"$0\"", {into.path()})).exitCode != 0)
      GTEST_SKIP() << "no file system can be mounted here";
  }

  Finished fetchOnto(const std::string& mountOptions) const {
    const std::string script =
        "mount -t tmpfs -o " + mountOptions + " none \"$0\" && { \"$@\"; code=$?; ls -A \"$0\"; exit $code; }";
    return finish(withOwnMounts(script, joined({into.path()}, commandFor(server.url()))));
  }
};

TEST_F(FtpFetchFullDisk, StopsWithOneMessageAndLeavesNoPartOfAFile) {
  server.start();
  const Finished finished = fetchOnto("size=256k");
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_EQ(finished.errors, "ftp_fetch: " + into.path().string() + ": No space left on device; stopped at b\n");
  EXPECT_THAT(finished.output, testing::EndsWith("/s\na\n"));
  EXPECT_THAT(finished.output, HasSubstr("1 of 3 files, "));
}

TEST_F(FtpFetchFullDisk, NoticesAReadOnlyFileSystemBeforeItLogsIn) {
  server.start();
  const Finished finished = fetchOnto("ro");
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_EQ(finished.errors, "ftp_fetch: " + into.path().string() + ": Read-only file system\n");
  EXPECT_THAT(server.commands(), IsEmpty());
}

/// Root may write anywhere until that right is taken away.
TEST_F(FtpFetchDisk, NoticesADirectoryThatItMayNotWriteToBeforeItAsksForAPassword) {
  std::filesystem::permissions(into.path(), std::filesystem::perms::owner_write, std::filesystem::perm_options::remove);
  Program::Arguments command = commandFor("ftp://me@127.0.0.1");
  if (::geteuid() == 0) command = joined({"setpriv", "--bounding-set=-dac_override"}, command);
  const Finished finished = finish(command);
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_EQ(finished.errors, "ftp_fetch: " + into.path().string() + ": Permission denied\n");
}

}  // namespace
}  // namespace testing_support
