#include <gmock/gmock.h>

#include <deque>
#include <sstream>

#include "support/loopback_socket.h"
#include "support/program.h"
#include "support/serving.h"

namespace testing_support {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

class ManySessions : public ServingTest {
 protected:
  static Program::Arguments command(unsigned short port, const std::string& atOnce, const Program::Arguments& names) {
    Program::Arguments all{MANY_SESSIONS, "127.0.0.1", std::to_string(port), "me", "secret", atOnce};
    all.insert(all.end(), names.begin(), names.end());
    return all;
  }

  static std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
  }
};

TEST_F(ManySessions, FetchesEachFileInASessionOfItsOwn) {
  serve("me", "secret");
  const Finished finished = finish(command(server->port(), "3", {"hello.txt", "empty", "data/a b", "data/large"}));
  EXPECT_EQ(finished.exitCode, 0) << finished.errors;
  EXPECT_THAT(linesOf(finished.output),
              UnorderedElementsAre("hello.txt 6", "empty 0", "data/a b 12", "data/large 8388608"));
}

TEST_F(ManySessions, GetsThroughManyMoreFilesThanItMayHaveInFlight) {
  serve("me", "secret");
  const Finished finished = finish(command(server->port(), "8", Program::Arguments(100, "hello.txt")));
  EXPECT_EQ(finished.exitCode, 0) << finished.errors;
  EXPECT_EQ(linesOf(finished.output), std::vector<std::string>(100, "hello.txt 6"));
}

TEST_F(ManySessions, KeepsNoMoreInFlightThanItMay) {
  const LoopbackSocket listener = LoopbackSocket::listening();
  Program program(command(listener.port(), "2", Program::Arguments(6, "any")));
  std::deque<LoopbackSocket> open;
  for (int accepted = 0; accepted < 6; ++accepted) {
    open.push_back(listener.accept());
    if (open.size() < 2) continue;
    EXPECT_TRUE(listener.isQuiet());
    open.pop_front();
  }
  open.clear();
  EXPECT_EQ(program.wait(), 1);
  EXPECT_EQ(linesOf(program.errors()), std::vector<std::string>(6, "any: the session ended early"));
}

TEST_F(ManySessions, TellsWhichFileIsMissingAndFetchesTheOthers) {
  serve("me", "secret");
  const Finished finished = finish(command(server->port(), "2", {"nowhere", "hello.txt"}));
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_EQ(finished.output, "hello.txt 6\n");
  EXPECT_THAT(finished.errors, HasSubstr("nowhere: "));
}

TEST_F(ManySessions, TellsThatNobodyListens) {
  const unsigned short port = refusingAddress().port();
  const Finished finished = finish(command(port, "2", {"a", "b", "c"}));
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_THAT(linesOf(finished.errors), Contains(HasSubstr("127.0.0.1:" + std::to_string(port))).Times(3));
}

TEST_F(ManySessions, SaysHowItIsUsed) { EXPECT_EQ(finish({MANY_SESSIONS}).exitCode, 2); }

}  // namespace
}  // namespace testing_support
