#include <gmock/gmock.h>

#include "support/little_server.h"
#include "support/program.h"
#include "support/serving.h"

namespace testing_support {
namespace {

class SessionProgram : public ServingTest {};

TEST_F(SessionProgram, PrintsTheNamesInTheDirectory) {
  serve("me", "secret");
  const Finished finished = finish({SESSION, "127.0.0.1", std::to_string(server->port()), "me", "secret"});
  EXPECT_EQ(finished.exitCode, 0);
  EXPECT_EQ(finished.output, "data\nempty\nhello.txt\n");
  EXPECT_THAT(finished.errors, testing::HasSubstr("Tovik: [FTP] QUIT"));
}

TEST_F(SessionProgram, FailsWhenTheServerSendsItAway) {
  LittleServer away;
  away.on("", [](LittleServer::Talk& talk, const std::string&) { talk.reply("421 Not now"); });
  away.start();
  EXPECT_EQ(finish({SESSION, "127.0.0.1", std::to_string(away.port()), "me", "secret"}).exitCode, 1);
  away.stop();
}

TEST_F(SessionProgram, FailsWhenNothingCanBeListed) {
  LittleServer refusing;
  refusing.on("PWD", [](LittleServer::Talk& talk, const std::string&) { talk.reply("550 No"); });
  refusing.start();
  EXPECT_EQ(finish({SESSION, "127.0.0.1", std::to_string(refusing.port()), "me", "secret"}).exitCode, 1);
  EXPECT_TRUE(refusing.waitForCommand("QUIT"));
  refusing.stop();
}

TEST_F(SessionProgram, SaysHowItIsUsed) { EXPECT_EQ(finish({SESSION}).exitCode, 2); }

}  // namespace
}  // namespace testing_support
