#include <gmock/gmock.h>

#include "support/little_server.h"
#include "support/program.h"
#include "support/serving.h"

namespace testing_support {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class OwnEventLoop : public ServingTest {
 protected:
  /// Runs the program with a text for its standard input.
  static Finished type(const std::string& input, unsigned short port) {
    return finish({"/bin/sh", "-c",
                   "printf '" + input + "' | " OWN_EVENT_LOOP " 127.0.0.1 " + std::to_string(port) + " me secret"});
  }
};

TEST_F(OwnEventLoop, BeginsEachCommandWhenTheOneBeforeHasEnded) {
  serve("me", "secret");
  const Finished finished = type("ls\\nget hello.txt\\nget empty\\nget data/large\\nquit\\n", server->port());
  EXPECT_EQ(finished.exitCode, 0) << finished.errors;
  EXPECT_EQ(finished.output,
            "logged in\n3 names\ndata\nempty\nhello.txt\nhello.txt: 6 bytes\nempty: 0 bytes\n"
            "data/large: 8388608 bytes\ndisconnected\n");
}

TEST_F(OwnEventLoop, GoesOnAfterWhatFailsAndWhatItDoesNotKnow) {
  serve("me", "secret");
  const Finished finished = type("get nowhere\\nsing\\nget hello.txt\\nquit\\n", server->port());
  EXPECT_EQ(finished.exitCode, 0) << finished.errors;
  EXPECT_THAT(finished.output, StartsWith("logged in\nnowhere failed: "));
  EXPECT_THAT(finished.output,
              HasSubstr("\nunknown command; use ls, get FILE or quit\nhello.txt: 6 bytes\ndisconnected\n"));
}

TEST_F(OwnEventLoop, TakesTheEndOfItsInputForQuit) {
  serve("me", "secret");
  const Finished finished = type("", server->port());
  EXPECT_EQ(finished.exitCode, 0) << finished.errors;
  EXPECT_EQ(finished.output, "logged in\ndisconnected\n");
}

TEST_F(OwnEventLoop, HearsOfTheServersEndWhileItWaitsForTheUser) {
  if (const char* const missing = TerminalProgram::missing()) GTEST_SKIP() << missing;
  LittleServer leaving;
  leaving.on("PASS", [](LittleServer::Talk& talk, const std::string&) {
    talk.reply("230 In");
    talk.hangUp();
  });
  leaving.start();
  TerminalProgram program({OWN_EVENT_LOOP, "127.0.0.1", std::to_string(leaving.port()), "me", "secret"}, 80);
  EXPECT_TRUE(program.showsUntil("disconnected"));
  EXPECT_EQ(program.wait(), 0);
  leaving.stop();
}

TEST_F(OwnEventLoop, SaysHowItIsUsed) { EXPECT_EQ(finish({OWN_EVENT_LOOP}).exitCode, 2); }

}  // namespace
}  // namespace testing_support
