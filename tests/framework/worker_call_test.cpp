#include <gtest/gtest.h>

#include <future>
#include <stdexcept>
#include <thread>
#include <vector>

#include "support/log_capture.h"
#include "support/waiting.h"
#include "tovik/worker_thread.h"

namespace {

using testing_support::Awaited;
using tovik::WorkerThread;

class WorkerCall : public testing::Test {
 protected:
  WorkerCall() {
    EXPECT_TRUE(one_.start());
    EXPECT_TRUE(other_.start());
  }

  WorkerThread one_{"one"};
  WorkerThread other_{"other"};
};

TEST_F(WorkerCall, HasRunOnTheWorkerWhenItReturns) {
  bool ranThere = false;
  one_.call([&] { ranThere = one_.isCurrent(); });
  EXPECT_TRUE(ranThere);
}

TEST_F(WorkerCall, RunsAtOnceOnTheWorkerItself) {
  bool nested = false;
  one_.call([&] { one_.call([&] { nested = true; }); });
  EXPECT_TRUE(nested);
}

// Each waited for the other forever.
TEST_F(WorkerCall, LetsTwoWorkersCallEachOtherAtTheSameTime) {
  Awaited<int> inside;
  const auto meetThenCall = [&](WorkerThread& callee) {
    inside.change([](int& count) { ++count; });
    ASSERT_TRUE(inside.waitUntil([](int count) { return count == 2; }));
    bool ranThere = false;
    callee.call([&] { ranThere = callee.isCurrent(); });
    EXPECT_TRUE(ranThere);
  };
  std::promise<void> oneDone;
  std::promise<void> otherDone;
  one_.post([&] {
    meetThenCall(other_);
    oneDone.set_value();
  });
  other_.post([&] {
    meetThenCall(one_);
    otherDone.set_value();
  });
  EXPECT_EQ(oneDone.get_future().wait_for(testing_support::deadline), std::future_status::ready);
  EXPECT_EQ(otherDone.get_future().wait_for(testing_support::deadline), std::future_status::ready);
}

TEST_F(WorkerCall, ServesManyThreadsAtOnceInSomeOrder) {
  int calls = 0;  // changed on the worker only
  std::vector<std::thread> callers;
  for (int i = 0; i < 4; ++i)
    callers.emplace_back([&] {
      for (int j = 0; j < 250; ++j) one_.call([&] { ++calls; });
    });
  for (auto& caller : callers) caller.join();
  one_.call([&] { EXPECT_EQ(calls, 1000); });
}

#ifndef NDEBUG
TEST_F(WorkerCall, ThatHasWaitedForFiveSecondsIsLoggedWithBothThreads) {
  const testing_support::LogCapture log{30};
  std::promise<void> held;
  one_.post([&] {
    held.set_value();
    EXPECT_TRUE(log.waitFor("Tovik: worker other has waited for worker one for 5 seconds"));
  });
  held.get_future().wait();
  other_.call([&] { one_.call([] {}); });
}
#endif

}  // namespace
