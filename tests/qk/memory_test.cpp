#include <gmock/gmock.h>
#include <qk/logging/logging.h>

#include <new>
#include <optional>
#include <string>
#include <thread>

#include "standard_error_capture.h"
#include "support/heap.h"

namespace qk::logging {
namespace {

using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;

/// Returns false if the work needs more than the given number of allocations.
template <typename Work>
bool runsWithin(int allocations, Work work) {
  const testing_support::ScarceMemory memory(allocations);
  work();
  return !testing_support::allocationsWereRefused();
}

/// Runs the work with 0, 1, 2 … allocations until they suffice, and checks after each run.
template <typename Work, typename Check>
void untilItSuffices(Work work, Check check) {
  bool sufficed = false;
  for (int allocations = 0; !sufficed; ++allocations) {
    SCOPED_TRACE(allocations);
    ASSERT_LT(allocations, 100);
    sufficed = runsWithin(allocations, work);
    check();
  }
}

const std::string longText(100, 'x');

void emit() { LogMessage(LogLevel::Warning, 0, 1, nullptr, "file", 1, longText, ""); }
void site() { QK_LOG(LogLevel::Warning) << "text " << longText; }

class Memory : public ::testing::Test {
 protected:
  // A thread's first record needs the memory for its stream.
  Memory() { GetThreadLocalStream(); }

  void SetUp() override {
    if (!testing_support::heapIsOurs()) {
      GTEST_SKIP() << "operator new cannot be replaced in this build";
    }
  }

  StandardErrorCapture standardError_;
};

TEST_F(Memory, ARecordThatCannotBeBuiltIsReportedAsLost) {
  int arrived = 0;
  const HandlerId id = AddHandler([&arrived](const Record&) { ++arrived; });
  EXPECT_FALSE(runsWithin(0, emit));
  EXPECT_EQ(arrived, 0);
  EXPECT_THAT(standardError_.writes(), ElementsAre("qk::logging: out of memory\n"));
  RemoveHandler(id);
}

TEST_F(Memory, ADirectMessageIsWholeOrReportedAsLost) {
  untilItSuffices(emit, [this] {
    EXPECT_THAT(standardError_.writes(),
                ElementsAre(AnyOf(EndsWith(" " + longText + "\n"), "qk::logging: out of memory\n",
                                  "qk::logging: out of memory, a record was lost\n")));
  });
}

TEST_F(Memory, AStatementThatRunsOutOfItNeitherThrowsNorAffectsTheNextRecord) {
  untilItSuffices(site, [this] {
    EXPECT_THAT(standardError_.writes(), ElementsAre(EndsWith("\n")));
    site();
    EXPECT_THAT(standardError_.writes(), ElementsAre(EndsWith(" text " + longText + "\n")));
  });
}

// The first log statement of a thread threw std::bad_alloc if there was no memory for the thread's stream.
TEST_F(Memory, AStatementWithoutMemoryForItsThreadsStreamEmitsItsRecord) {
  std::string arrived;
  const HandlerId id = AddHandler([&arrived](const Record& record) { arrived = record.text; });
  bool sufficed = true;
  // So short a text and record need no memory.
  std::thread([&sufficed] { sufficed = runsWithin(0, [] { QK_LOG(LogLevel::Warning) << "short " << 12; }); }).join();
  EXPECT_FALSE(sufficed);
  EXPECT_EQ(arrived, "short 12");
  RemoveHandler(id);
}

TEST_F(Memory, ANestedStatementThatRunsOutOfItDoesNotChangeTheOuterOne) {
  for (const int allocations : {0, 1, 2, 3, 4}) {
    QK_LOG(LogLevel::Warning) << "outer " << runsWithin(allocations, site) << " end";
    const auto writes = standardError_.writes();
    ASSERT_EQ(writes.size(), 2U);
    EXPECT_THAT(writes[1], AnyOf(EndsWith(" outer 0 end\n"), EndsWith(" outer 1 end\n")));
  }
}

TEST_F(Memory, AHandlerThatRunsOutOfItDoesNotStopTheOthers) {
  const HandlerId greedy = AddHandler([](const Record& record) { std::string(record.text) += record.text; });
  int arrived = 0;
  const HandlerId modest = AddHandler([&arrived](const Record&) { ++arrived; });
  EXPECT_FALSE(runsWithin(1, emit));
  EXPECT_EQ(arrived, 1);
  EXPECT_THAT(standardError_.writes(), ElementsAre("qk::logging: out of memory\n"));
  RemoveHandler(greedy);
  RemoveHandler(modest);
}

TEST_F(Memory, HandlersAreAddedAndRemovedCompletelyOrNotAtAll) {
  int arrived = 0;
  std::optional<HandlerId> id;
  const auto add = [&] {
    try {
      id = AddHandler([&arrived](const Record&) { ++arrived; });
    } catch (const std::bad_alloc&) {
      EXPECT_FALSE(id);
    }
  };
  untilItSuffices(add, [&] {
    arrived = 0;
    emit();
    EXPECT_EQ(arrived, id ? 1 : 0);
  });
  ASSERT_TRUE(id);

  bool removed = false;
  const auto remove = [&] {
    try {
      removed = RemoveHandler(*id);
    } catch (const std::bad_alloc&) {
      EXPECT_FALSE(removed);
    }
  };
  untilItSuffices(remove, [&] {
    arrived = 0;
    emit();
    EXPECT_EQ(arrived, removed ? 0 : 1);
  });
  EXPECT_TRUE(removed);
}

}  // namespace
}  // namespace qk::logging
