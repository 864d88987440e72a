#include <functional>
#include <iterator>
#include <ostream>
#include <string>
#include <vector>

#include "ftp_bridge/session_fixture.h"
#include "support/heap.h"

namespace tovik::ftp {
namespace {

struct Command {
  std::string name;
  std::function<Result(Controller&)> start;
};

void PrintTo(const Command& command, std::ostream* out) { *out << command.name; }

// Too long for a short string, so each copy of it allocates.
const std::string longName(100, 'n');

/// Those that need memory.
std::vector<Command> commands() {
  return {
      {"Cwd", [](auto& c) { return c.changeCwd(longName); }},
      {"PassiveNlst", [](auto& c) { return c.getNlst(passiveMode); }},
      {"ActiveNlst", [](auto& c) { return c.getNlst(activeMode); }},
      {"PassiveRetr", [](auto& c) { return c.getFile(longName, passiveMode); }},
      {"ActiveRetr", [](auto& c) { return c.getFile(longName, activeMode); }},
  };
}

/// A session whose client starts a command with 0, 1, 2 … allocations granted, and after each failure another command
/// with enough memory.
class ScarceCommand : public Session, public ::testing::WithParamInterface<Command> {
 protected:
  void SetUp() override {
    if (!testing_support::heapIsOurs()) GTEST_SKIP() << "the sanitizer's operator new cannot be replaced";
    qk::logging::SetMinLogLevel(30);  // the records would have no memory either
    server.login();
    client.whenever("onCwd", [this] { attempt(); });
    onceLoggedIn([this] { attempt(); });
  }

  long failures = 0;
  testing_support::Awaited<bool> begun;  // the command has started at last

 private:
  void attempt() {
    Result result;
    {
      const testing_support::ScarceMemory little(static_cast<int>(failures));
      try {
        result = GetParam().start(*controller);
      } catch (const std::bad_alloc&) {
        result = failure("out of memory");  // the client's: there is no listener
      }
    }
    if (result || failures == 100) return begun.change([](bool& now) { now = true; });
    ++failures;
    EXPECT_EQ(result.message, "out of memory");
    server.expect("CWD next").reply("250 Done");
    EXPECT_TRUE(controller->changeCwd("next"));
  }
};

TEST_P(ScarceCommand, ThatFailsLetsTheNextOneSucceed) {
  ASSERT_TRUE(begun.waitUntil([](bool now) { return now; })) << server.played();
  EXPECT_GT(failures, 0);
  EXPECT_LT(failures, 100);
  EXPECT_TRUE(server.played());
  EXPECT_EQ(client.callsOf("onCwd"), failures);
  EXPECT_EQ(std::ssize(client.lines()), 1 + failures) << "a command that did not start is not reported";
}

INSTANTIATE_TEST_SUITE_P(Of, ScarceCommand, ::testing::ValuesIn(commands()),
                         [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace tovik::ftp
