#include <gmock/gmock.h>

#include <algorithm>

#include "support/little_server.h"
#include "support/program.h"
#include "support/serving.h"

namespace testing_support {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Talk = LittleServer::Talk;

class Mirror : public ServingTest {
 protected:
  Mirror() {
    little->listing = "a\r\nb\r\nc\r\n";
    little->files = {{"a", "first"}, {"b", "second"}, {"c", "third"}};
  }

  void TearDown() override {
    little->stop();  // its threads look for it here
    little.reset();
    ServingTest::TearDown();
  }

  /// Loses the connection of each of the first `times` clients that ask for the file, part of which is sent before.
  void loseWhile(const std::string& asked, int times, const std::string& part = "") {
    // What a transfer that never ends had received is not freed with its controller, which is no news here.
    environment = {"ASAN_OPTIONS=detect_leaks=0"};
    little->on("RETR", [this, asked, part, left = times](Talk& talk, const std::string& name) mutable {
      talk.openData();
      talk.reply("150 Here");
      const bool lost = name == asked && left-- > 0;
      talk.sendData(lost ? part : little->files.at(name));
      if (lost) return talk.hangUp();
      talk.closeData();
      talk.reply("226 Done");
    });
  }

  Finished mirror(unsigned short port, const std::string& directory, const std::string& tries = "9") const {
    return finish({MIRROR, "127.0.0.1", std::to_string(port), "me", "secret", directory, into.path(), tries},
                  environment);
  }

  long commandsLike(const std::string& line) const {
    const auto all = little->commands();
    return std::count(all.begin(), all.end(), line);
  }

  const TempDirectory into;
  Program::Arguments environment;
  std::unique_ptr<LittleServer> little = std::make_unique<LittleServer>();
};

TEST_F(Mirror, StoresEveryFileOfTheDirectory) {
  serve("me", "secret");
  const Finished finished = mirror(server->port(), "data");
  EXPECT_EQ(finished.exitCode, 0) << finished.errors;
  EXPECT_THAT(into.names(), ElementsAre("a b", "large"));
  EXPECT_EQ(into.read("a b"), "with a blank");
  EXPECT_EQ(into.read("large"), large);
}

TEST_F(Mirror, TellsWhatTheServerRefusesAndGoesOn) {
  serve("me", "secret");
  const Finished finished = mirror(server->port(), "/");
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_THAT(finished.errors, HasSubstr("data: "));
  EXPECT_THAT(into.names(), ElementsAre("empty", "hello.txt"));
}

TEST_F(Mirror, TellsThatThereIsNoSuchDirectory) {
  serve("me", "secret");
  const Finished finished = mirror(server->port(), "nowhere");
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_THAT(finished.errors, HasSubstr("nowhere: "));
  EXPECT_THAT(into.names(), IsEmpty());
}

TEST_F(Mirror, GoesOnWithWhatIsLeftAfterALostConnection) {
  loseWhile("b", 1);
  little->start();
  const Finished finished = mirror(little->port(), "/");
  EXPECT_EQ(finished.exitCode, 0);
  EXPECT_EQ(finished.errors, "connection lost; 2 files left\n");
  EXPECT_THAT(into.names(), ElementsAre("a", "b", "c"));
  EXPECT_EQ(commandsLike("NLST"), 1);
  EXPECT_EQ(commandsLike("RETR a"), 1);
  EXPECT_EQ(commandsLike("RETR b"), 2);
}

TEST_F(Mirror, StoresAFileWholeWhoseFirstHalfWasLostWithTheConnection) {
  loseWhile("b", 1, "seco");
  little->start();
  EXPECT_EQ(mirror(little->port(), "/").exitCode, 0);
  EXPECT_THAT(into.names(), ElementsAre("a", "b", "c"));
  EXPECT_EQ(into.read("b"), "second");
}

TEST_F(Mirror, ComesBackToAServerThatSentItAway) {
  little->on("", [left = 2](Talk& talk, const std::string&) mutable {
    if (left-- <= 0) return talk.reply("220 Ready");
    talk.reply("421 Too many users");
    talk.hangUp();
  });
  little->start();
  const Finished finished = mirror(little->port(), "/");
  EXPECT_EQ(finished.exitCode, 0) << finished.errors;
  EXPECT_THAT(into.names(), ElementsAre("a", "b", "c"));
}

TEST_F(Mirror, GivesUpWhenNothingArrivesAnyMore) {
  loseWhile("b", 1000);
  little->start();
  const Finished finished = mirror(little->port(), "/", "2");
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_THAT(into.names(), ElementsAre("a"));
  EXPECT_EQ(commandsLike("RETR b"), 2);
}

TEST_F(Mirror, StoresNothingOutsideItsDirectory) {
  little->listing = "../out\r\n..\r\n.\r\n/tmp/out\r\na\r\n";
  little->start();
  const Finished finished = mirror(little->port(), "/");
  EXPECT_EQ(finished.exitCode, 0) << finished.errors;
  EXPECT_THAT(into.names(), ElementsAre("a"));
  EXPECT_EQ(commandsLike("RETR ../out"), 0);
  EXPECT_EQ(commandsLike("RETR /tmp/out"), 0);
}

TEST_F(Mirror, TellsWhichFileItCannotStore) {
  root.write("other/.mirror-part/file", "");
  serve("me", "secret");
  const Finished finished =
      finish({MIRROR, "127.0.0.1", std::to_string(server->port()), "me", "secret", "data", root / "other", "9"});
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_EQ(finished.errors, "a b: can't store the file\nlarge: can't store the file\n");
}

TEST_F(Mirror, SaysHowItIsUsed) { EXPECT_EQ(finish({MIRROR}).exitCode, 2); }

}  // namespace
}  // namespace testing_support
