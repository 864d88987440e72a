#include <gmock/gmock.h>

#include "support/little_server.h"
#include "support/program.h"
#include "support/serving.h"

namespace testing_support {
namespace {

using testing::HasSubstr;
using Talk = LittleServer::Talk;

/// Only the step that is to miss its deadline has a short one.
class Deadlines : public ServingTest {
 protected:
  struct Limits {
    std::string login = "60";
    std::string command = "60";
    std::string transfer = "60";
  };

  Deadlines() {
    hanging->on("PWD", [](Talk& talk, const std::string&) { talk.reply("257 \"/\" is it"); });
  }

  void TearDown() override {
    hanging.reset();
    ServingTest::TearDown();
  }

  void hangOn(const std::string& verb) {
    hanging->on(verb, [](Talk& talk, const std::string&) { talk.waitForStop(); });
    hanging->start();
  }

  static Finished fetch(unsigned short port, const std::string& name, const Limits& limits) {
    return finish({DEADLINES, "127.0.0.1", std::to_string(port), "me", "secret", name, limits.login, limits.command,
                   limits.transfer});
  }

  std::unique_ptr<LittleServer> hanging = std::make_unique<LittleServer>();
};

TEST_F(Deadlines, FetchesAFileInTime) {
  serve("me", "secret");
  const Finished finished = fetch(server->port(), "hello.txt", {});
  EXPECT_EQ(finished.exitCode, 0);
  EXPECT_EQ(finished.output, "hello.txt 6\n");
  EXPECT_EQ(finished.errors, "");
}

TEST_F(Deadlines, TellsWhatTheServerRefuses) {
  serve("me", "secret");
  const Finished finished = fetch(server->port(), "nowhere", {});
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_THAT(finished.output, HasSubstr("nowhere: "));
}

TEST_F(Deadlines, GivesUpALoginThatTakesTooLong) {
  hangOn("");
  const Finished finished = fetch(hanging->port(), "a", {.login = "1"});
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_EQ(finished.errors, "login: no answer in time\n");
}

TEST_F(Deadlines, GivesUpACommandThatTakesTooLong) {
  hangOn("PWD");
  const Finished finished = fetch(hanging->port(), "a", {.command = "1"});
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_EQ(finished.errors, "PWD: no answer in time\n");
}

TEST_F(Deadlines, GivesUpAFileThatTakesTooLong) {
  hangOn("RETR");
  const Finished finished = fetch(hanging->port(), "a", {.transfer = "1"});
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_EQ(finished.errors, "RETR a: no answer in time\n");
}

TEST_F(Deadlines, SaysHowItIsUsed) { EXPECT_EQ(finish({DEADLINES}).exitCode, 2); }

}  // namespace
}  // namespace testing_support
