#include <gmock/gmock.h>

#include "fetching.h"
#include "support/serving.h"

namespace testing_support {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

/// Against the server next door.
class FtpFetch : public ServingTest, protected Fetching {
 protected:
  FtpFetch() { serve("me", "secret"); }

  std::string url(const std::string& directory, const std::string& login = "me:secret") const {
    return "ftp://" + login + "@127.0.0.1:" + std::to_string(server->port()) + "/" + directory;
  }
};

TEST_F(FtpFetch, ListsAndFetchesNothing) {
  const Finished finished = fetch(url("data"), {"--list"});
  EXPECT_EQ(finished.exitCode, 0) << finished.errors;
  EXPECT_EQ(finished.output, "a b\nlarge\n");
  EXPECT_EQ(finished.errors, "");
  EXPECT_THAT(into.names(), IsEmpty());
}

class FtpFetchInBothModes : public FtpFetch, public testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(, FtpFetchInBothModes, testing::Values("", "--active"),
                         [](const auto& mode) { return *mode.param == '\0' ? "Passive" : "Active"; });

TEST_P(FtpFetchInBothModes, FetchesADirectoryWhole) {
  root.write("data/empty", "");
  Program::Arguments mode;
  if (*GetParam() != '\0') mode.emplace_back(GetParam());
  const Finished finished = fetch(url("data"), mode);
  EXPECT_EQ(finished.exitCode, 0) << finished.errors;
  EXPECT_EQ(finished.errors, "");
  EXPECT_THAT(into.names(), ElementsAre("a b", "empty", "large"));
  EXPECT_EQ(into.read("a b"), "with a blank");
  EXPECT_EQ(into.read("empty"), "");
  EXPECT_TRUE(into.read("large") == large);
  EXPECT_THAT(finished.output, HasSubstr("3 of 3 files, 8.4 MB, "));
}

TEST_F(FtpFetch, FetchesNamesThatItIsGiven) {
  const Finished finished = fetch(url(""), {"hello.txt"});
  EXPECT_EQ(finished.exitCode, 0) << finished.errors;
  EXPECT_THAT(into.names(), ElementsAre("hello.txt"));
  EXPECT_EQ(into.read("hello.txt"), "hello\n");
}

TEST_F(FtpFetch, FetchesFromADirectoryWithAnEncodedName) {
  root.write("a b/c%d/file", "deep");
  EXPECT_EQ(fetch(url("a%20b/c%25d")).exitCode, 0);
  EXPECT_EQ(into.read("file"), "deep");
}

TEST_F(FtpFetch, SaysWhatItFetchedUnlessItShouldBeQuiet) {
  EXPECT_THAT(fetch(url(""), {"hello.txt"}).output, testing::StartsWith("hello.txt "));
  EXPECT_EQ(fetch(url(""), {"hello.txt", "--quiet"}).output, "");
}

TEST_F(FtpFetch, ReportsAMissingFileAndGoesOn) {
  const Finished finished = fetch(url("data"), {"nothing", "a b"});
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_EQ(finished.errors, "ftp_fetch: nothing: /data/nothing: No such file or directory\n");
  EXPECT_THAT(into.names(), ElementsAre("a b"));
  EXPECT_THAT(finished.output, HasSubstr("1 of 2 files, "));
}

TEST_F(FtpFetch, ReportsAMissingFileAndGoesOnInActiveModeWhereTheServerNeverConnects) {
  const Finished finished = fetch(url("data"), {"--active", "--first-byte-limit", "1", "nothing", "a b"});
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_EQ(finished.errors, "ftp_fetch: nothing: /data/nothing: No such file or directory\n");
  EXPECT_THAT(into.names(), ElementsAre("a b"));
}

TEST_F(FtpFetch, ReportsAMissingDirectory) {
  const Finished finished = fetch(url("nothing"), {"a", "b"});
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_EQ(finished.errors, "ftp_fetch: CWD nothing: /nothing: No such file or directory\n");
  EXPECT_THAT(finished.output, HasSubstr("0 of 2 files, "));
}

/// No limit here could tell: only the reply itself does.
TEST_F(FtpFetch, ReportsARefusedLoginAtOnce) {
  const Finished finished = fetch(url("data", "me:wrong"), {"--timeout", "0", "--first-byte-limit", "0"});
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_EQ(finished.errors,
            "ftp_fetch: login at " + server->address().printInet() + " refused: 530 User or password is wrong\n");
}

TEST_F(FtpFetch, TakesThePasswordFromItsEnvironment) {
  EXPECT_EQ(fetch(url("", "me"), {"hello.txt"}, {"FTP_PASSWORD=secret"}).exitCode, 0);
  EXPECT_THAT(into.names(), ElementsAre("hello.txt"));
}

TEST_F(FtpFetch, PrefersThePasswordOfTheUrl) {
  EXPECT_EQ(fetch(url(""), {"hello.txt"}, {"FTP_PASSWORD=wrong"}).exitCode, 0);
}

TEST_F(FtpFetch, NeedsAPasswordFromSomewhere) {
  const Finished finished = fetch(url("", "me"));
  EXPECT_EQ(finished.exitCode, 2);
  EXPECT_THAT(finished.errors, HasSubstr("no password for me"));
}

TEST_F(FtpFetch, TracesWithoutThePassword) {
  const Finished finished = fetch(url(""), {"hello.txt", "--trace"});
  EXPECT_EQ(finished.exitCode, 0);
  EXPECT_THAT(finished.errors, HasSubstr("Tovik: [FTP] PASS ****\n"));
  EXPECT_THAT(finished.errors, HasSubstr("Tovik: [FTP] 226 \"Transfer complete\""));
  EXPECT_THAT(finished.errors, Not(HasSubstr("secret")));
}

TEST_F(FtpFetch, ConnectsFromTheAddressItIsTold) {
  EXPECT_EQ(fetch(url(""), {"hello.txt", "--local", "127.0.0.1"}).exitCode, 0);
  const Finished finished = fetch(url(""), {"hello.txt", "--local", "192.0.2.1"});
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_THAT(finished.errors, HasSubstr("bind to 192.0.2.1:0"));
}

TEST_F(FtpFetch, ReportsAServerThatIsNotThere) {
  const std::string nowhere = url("");
  server->stop();
  const Finished finished = fetch(nowhere, {"a", "b"});
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_THAT(finished.errors, HasSubstr("Connection refused"));
  EXPECT_THAT(finished.output, HasSubstr("0 of 2 files, "));
}

TEST_F(FtpFetch, RefusesACommandLineThatMakesNoSense) {
  for (const Program::Arguments& bad : std::vector<Program::Arguments>{{FTP_FETCH},
                                                                       {FTP_FETCH, "http://host/"},
                                                                       {FTP_FETCH, "ftp://host:0/"},
                                                                       {FTP_FETCH, url(""), "--timeout", "soon"},
                                                                       {FTP_FETCH, url(""), "--timeout", "-1"},
                                                                       {FTP_FETCH, url(""), "--local", "here"},
                                                                       {FTP_FETCH, url(""), "--quiet", "--trace"}}) {
    const Finished finished = finish(bad);
    EXPECT_EQ(finished.exitCode, 2);
    EXPECT_NE(finished.errors, "");
  }
}

/// The limit on a file's size stands for a disk that is full.
TEST_F(FtpFetch, ReportsAFileThatDoesNotFitAndLeavesNothingOfIt) {
  const Finished finished = finish(
      {"/bin/sh", "-c", "trap '' XFSZ; ulimit -f 1024; exec \"$@\"", "sh", FTP_FETCH, url("data"), "-o", into.path()});
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_EQ(finished.errors, "ftp_fetch: large: write: File too large\n");
  EXPECT_THAT(into.names(), ElementsAre("a b"));
}

TEST_F(FtpFetch, ReportsADirectoryThatItCannotMake) {
  into.write("taken", "");
  const Finished finished = finish({FTP_FETCH, url("data"), "-o", into / "taken"});
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_THAT(finished.errors, HasSubstr("taken: "));
}

}  // namespace
}  // namespace testing_support
