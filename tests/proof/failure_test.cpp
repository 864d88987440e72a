#include <gmock/gmock.h>

#include <algorithm>
#include <iostream>

#include "corpus.h"
#include "scenario_runner.h"
#include "support/failing_calls.h"
#include "support/heap.h"
#include "support/leftovers.h"

namespace tovik::ftp {
namespace {

using testing_support::FailingAllocation;
using testing_support::FailingCalls;

/// Each scenario of the corpus, with one thing that fails in it.
class EveryFailure : public ::testing::TestWithParam<Scenario> {
 protected:
  void SetUp() override {
    testing_support::heldAtRest();
    ASSERT_EQ(runner_.warmUp(GetParam()).mismatch, "");
  }

  void TearDown() override { std::cout << "counted: " << failures_ << '\n'; }

  void play(bool& failed, const std::function<bool()>& hasFailed, const std::function<bool()>& hasHarmed) {
    runner_.play(GetParam(), {{}, true}, [&](const RunResult& result) {
      failed = hasFailed();
      failures_ += failed ? 1 : 0;
      if (!hasHarmed()) {
        EXPECT_EQ(result.lines, GetParam().outcome()) << ::testing::PrintToString(result);
      }
      checkCallbacks(result);
      checkFailureIsReported(result);
    });
  }

  const testing_support::SparedMemory spared_;
  ScenarioRunner runner_;
  long failures_ = 0;

 private:
  /// Every callback is one of the script's or of a failure, and the end came once.
  void checkCallbacks(const RunResult& result) {
    const auto outcome = GetParam().outcome();
    const auto isOutcome = [&](const std::string& line) {
      return std::find(outcome.begin(), outcome.end(), line) != outcome.end();
    };
    for (const auto& line : result.lines)
      EXPECT_TRUE(isOutcome(line) || isFailure(line) || isEarly(line)) << ::testing::PrintToString(result);
    const long ends = std::count(result.lines.begin(), result.lines.end(), "onDisconnected");
    EXPECT_LE(ends, result.started ? 1 : 0) << ::testing::PrintToString(result);
    EXPECT_TRUE(ends == 1 || !result.started || result.handlerThrew) << ::testing::PrintToString(result);
    EXPECT_LE(result.lines.size(), outcome.size() + 1);
  }

  /// A session that did not end normally has reported why.
  static void checkFailureIsReported(const RunResult& result) {
    const bool reported = std::any_of(result.lines.begin(), result.lines.end(), isFailure);
    EXPECT_TRUE(!result.stalled || reported || result.warned || result.ranOutOfMemory)
        << ::testing::PrintToString(result);
  }

  static bool isFailure(const std::string& line) {
    return line.starts_with("onNlstFailed ") || line.starts_with("onRetrieveFailed ");
  }

  /// Where the final reply has come before the data, it alone says that the transfer is whole.
  static bool isEarly(const std::string& line) {
    const auto& steps = GetParam().steps();
    return std::any_of(steps.begin(), steps.end(), [&](const Step& step) {
      return step.report && line.starts_with(step.report("").substr(0, line.find('|')));
    });
  }
};

TEST_P(EveryFailure, OfASystemCallIsReportedOrEndsAConnection) {
  for (int number = 0; number < 1000 && !HasFailure(); ++number) {
    bool failed = true;
    unsigned error = 0;
    for (; failed && !HasFailure(); ++error) {
      SCOPED_TRACE("call " + std::to_string(number) + ", error " + std::to_string(error));
      const auto failing = FailingCalls::oneOnly(number, error);
      play(failed, FailingCalls::anyFailed, FailingCalls::anyHarmed);
    }
    if (error == 1) return;
  }
  EXPECT_TRUE(HasFailure()) << "a session has no end of system calls";
}

TEST_P(EveryFailure, OfAnAllocationIsReportedOrEndsAConnection) {
  if (!testing_support::heapIsOurs()) GTEST_SKIP() << "the sanitizer's operator new cannot be replaced";
  bool failed = true;
  for (int number = 0; failed && !HasFailure(); ++number) {
    SCOPED_TRACE("allocation " + std::to_string(number));
    const FailingAllocation failing(number);
    play(failed, FailingAllocation::hasFailed, FailingAllocation::hasFailed);
  }
}

INSTANTIATE_TEST_SUITE_P(Of, EveryFailure, ::testing::ValuesIn(corpus()),
                         [](const auto& test) { return test.param.name(); });

}  // namespace
}  // namespace tovik::ftp
