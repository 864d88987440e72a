#include <gmock/gmock.h>
#include <sys/eventfd.h>
#include <tovik/worker_thread.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "support/latch.h"
#include "support/leak_check.h"
#include "support/log_capture.h"
#include "support/manual_clock.h"

namespace tovik {
namespace {

using ::testing::ElementsAre;
using Numbers = std::vector<int>;
using testing_support::Awaited;
using testing_support::Latch;
using testing_support::LogCapture;
using testing_support::ManualClock;

class Handler final : public EventHandler {
 public:
  void onReady(unsigned /*events*/) override { ready(); }
  void onTimer() override { timer(); }
  std::function<void()> ready = [] {};
  std::function<void()> timer = [] {};
};

class Worker : public testing_support::LeakCheckedTest {
 protected:
  Worker() { EXPECT_TRUE(worker.start()); }

  /// Keeps the worker inside a task until the latch opens.
  void hold(Latch& latch) {
    Latch held;
    worker.post([&] {
      held.open();
      EXPECT_TRUE(latch.waits());
    });
    EXPECT_TRUE(held.waits());
  }
  /// Waits until every task that has been posted before has run.
  void finish() {
    const auto finished = std::make_shared<Latch>();
    worker.post([finished] { finished->open(); });
    EXPECT_TRUE(finished->waits());
  }

  struct Watched {
    std::shared_ptr<Latch> ready = std::make_shared<Latch>();
    std::shared_ptr<Descriptor> descriptor = std::make_shared<Descriptor>(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  };
  /// A descriptor that the worker watches, and the latch that opens when it becomes readable.
  Watched watched() {
    const Watched watched;
    // A new descriptor is writable at once: that first call is ignored.
    Latch first;
    handler.ready = [&] { first.open(); };
    worker.call([&] { EXPECT_TRUE(worker.watch(watched.descriptor->number(), handler)); });
    EXPECT_TRUE(first.waits());
    worker.call([&] { handler.ready = [ready = watched.ready] { ready->open(); }; });
    return watched;
  }

  LogCapture log;
  Handler handler;
  ManualClock clock;
  WorkerThread worker{"worker", clock};
};

TEST_F(Worker, RunsTasksInTheOrderOfPosting) {
  Numbers order;
  Numbers posted;
  for (int i = 0; i < 1000; ++i) {
    posted.push_back(i);
    worker.post([&order, i] { order.push_back(i); });
  }
  finish();
  EXPECT_EQ(order, posted);
}

TEST_F(Worker, KeepsTheOrderOfEachOfSeveralPostingThreads) {
  constexpr int perThread = 2000;
  Numbers seen;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 3; ++thread)
    threads.emplace_back([&, thread] {
      for (int i = 0; i < perThread; ++i)
        worker.post([&seen, number = thread * perThread + i] { seen.push_back(number); });
    });
  for (auto& thread : threads) thread.join();
  finish();
  ASSERT_EQ(seen.size(), 3U * perThread);
  for (int thread = 0; thread < 3; ++thread) {
    Numbers own;
    for (const int number : seen)
      if (number / perThread == thread) own.push_back(number);
    EXPECT_EQ(own.size(), static_cast<unsigned>(perThread));
    EXPECT_TRUE(std::is_sorted(own.begin(), own.end()));
  }
}

TEST_F(Worker, RunsATaskPostedByATaskAfterItAndAfterThoseAlreadyWaiting) {
  std::vector<std::string> order;
  Latch latch;
  hold(latch);
  worker.post([&] {
    worker.post([&] { order.emplace_back("inner"); });
    order.emplace_back("outer");
  });
  worker.post([&] { order.emplace_back("next"); });
  latch.open();
  finish();
  finish();
  EXPECT_THAT(order, ElementsAre("outer", "next", "inner"));
}

TEST_F(Worker, RecognizesItsOwnThread) {
  bool inside = false;
  std::thread::id there;
  worker.call([&] {
    inside = worker.isCurrent();
    there = std::this_thread::get_id();
  });
  EXPECT_TRUE(inside);
  EXPECT_NE(there, std::this_thread::get_id());
  EXPECT_FALSE(worker.isCurrent());
}

TEST_F(Worker, IsNotAnotherWorker) {
  WorkerThread other("other");
  ASSERT_TRUE(other.start());
  bool inside = true;
  other.call([&] { inside = worker.isCurrent(); });
  EXPECT_FALSE(inside);
}

TEST_F(Worker, LogsAnExceptionOfATaskAndContinues) {
  worker.post([] { throw std::runtime_error("boom"); });
  worker.post([] { throw 7; });
  finish();
  ASSERT_THAT(log.texts(), ElementsAre("Tovik: worker thread: exception in a handler: boom",
                                       "Tovik: worker thread: exception in a handler"));
  EXPECT_EQ(log.entries()[0].level, 30);
  EXPECT_EQ(log.entries()[1].level, 30);
}

TEST_F(Worker, CallsAScheduledHandlerOnceHoweverOftenItWasScheduled) {
  Latch latch;
  hold(latch);
  int calls = 0;
  const auto shared = std::make_shared<Handler>();
  shared->ready = [&] { ++calls; };
  for (int i = 0; i < 3; ++i) worker.schedule(shared);
  latch.open();
  finish();
  EXPECT_EQ(calls, 1);
  worker.schedule(shared);
  finish();
  EXPECT_EQ(calls, 2);
}

TEST_F(Worker, CallsAHandlerAgainIfItSchedulesItself) {
  Awaited<int> calls;
  const auto shared = std::make_shared<Handler>();
  shared->ready = [&] {
    calls.change([](int& count) { ++count; });
    if (calls.get() < 5) worker.schedule(shared);
  };
  worker.schedule(shared);
  EXPECT_TRUE(calls.waitUntil([](int count) { return count == 5; }));
  finish();
  shared->ready = nullptr;
}

TEST_F(Worker, KeepsAScheduledHandlerAliveUntilItHasBeenCalled) {
  Latch latch;
  hold(latch);
  bool called = false;
  auto shared = std::make_shared<Handler>();
  shared->ready = [&] { called = true; };
  const std::weak_ptr<Handler> life = shared;
  worker.schedule(std::move(shared));
  EXPECT_FALSE(life.expired());
  latch.open();
  finish();
  EXPECT_TRUE(called);
  EXPECT_TRUE(life.expired());
}

TEST_F(Worker, RethrowsAnExceptionOfACallInTheCaller) {
  EXPECT_THROW(worker.call([] { throw std::runtime_error("boom"); }), std::runtime_error);
  bool inside = false;
  worker.call([&] {
    EXPECT_THROW(worker.call([] { throw 7; }), int);
    inside = true;
  });
  EXPECT_TRUE(inside);
  EXPECT_THAT(log.texts(), ElementsAre());
}

TEST_F(Worker, FiresATimerButNotACancelledOne) {
  int fired = 0;
  bool cancelledFired = false;
  Handler kept;
  Handler cancelled;
  kept.timer = [&] { ++fired; };
  cancelled.timer = [&] { cancelledFired = true; };
  worker.call([&] {
    const auto id = worker.timers().add(worker.now() + std::chrono::milliseconds(1), cancelled);
    worker.timers().add(worker.now() + std::chrono::milliseconds(2), kept);
    worker.timers().cancel(id);
  });
  clock.advance(std::chrono::milliseconds(2), worker);
  EXPECT_EQ(fired, 1);
  EXPECT_FALSE(cancelledFired);
}

TEST_F(Worker, FiresATimerOnTheTickAndNotOneEarlier) {
  int fired = 0;
  handler.timer = [&] { ++fired; };
  worker.call([&] { worker.timers().add(worker.now() + std::chrono::seconds(1), handler); });
  clock.advance(std::chrono::seconds(1) - clock.tick, worker);
  EXPECT_EQ(fired, 0);
  clock.advance(clock.tick, worker);
  EXPECT_EQ(fired, 1);
}

TEST_F(Worker, KeepsTheStartTimeOfARunningHandler) {
  Clock::Time::duration passed{0};
  worker.call([&] {
    const auto before = worker.handlerStart();
    clock.advance(std::chrono::seconds(1));
    EXPECT_EQ(worker.handlerStart(), before);
    passed = worker.now() - before;
  });
  EXPECT_EQ(passed, std::chrono::seconds(1));
}

TEST(WorkerByTheSteadyClock, FiresNoTimerBeforeItsTime) {
  WorkerThread worker("steady");
  ASSERT_TRUE(worker.start());
  Latch fired;
  Handler handler;
  bool early = true;
  worker.call([&] {
    const auto due = std::chrono::steady_clock::now() + std::chrono::microseconds(1500);
    handler.timer = [&, due] {
      early = std::chrono::steady_clock::now() < due;
      fired.open();
    };
    worker.timers().add(due, handler);
  });
  EXPECT_TRUE(fired.waits());
  EXPECT_FALSE(early);
}

TEST_F(Worker, LogsAnExceptionOfATimerAndFiresTheOthers) {
  Latch fired;
  Handler throwing;
  Handler next;
  throwing.timer = [] { throw std::runtime_error("boom"); };
  next.timer = [&] { fired.open(); };
  worker.call([&] {
    worker.timers().add(worker.now(), throwing);
    worker.timers().add(worker.now(), next);
  });
  EXPECT_TRUE(fired.waits());
  EXPECT_THAT(log.texts(30), ElementsAre("Tovik: worker thread: exception in a handler: boom"));
}

TEST_F(Worker, ReportsAWatchedDescriptor) {
  const auto [ready, descriptor] = watched();
  ::eventfd_write(descriptor->number(), 1);
  EXPECT_TRUE(ready->waits());
}

// It created new descriptors for its loop then, and lost what it watched.
TEST_F(Worker, ContinuesWatchingWhenItIsStartedASecondTime) {
  const auto [ready, descriptor] = watched();
  EXPECT_EQ(worker.start().message, "thread worker is already running");
  finish();
  ::eventfd_write(descriptor->number(), 1);
  EXPECT_TRUE(ready->waits());
}

#ifndef NDEBUG
TEST(WorkerThreadDeathTest, DebugBuildsEndTheProgramThatCallsOnAnotherThread) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const WorkerThread worker("worker");
  EXPECT_DEATH(worker.requireCurrent(),
               "called on thread [0-9a-f]+, which is not the worker thread of what was called \\(0x[0-9a-f]+\\)");
}
#endif

// Tasks that are waiting at the end are in one long chain, whose destruction must not recurse.
TEST_F(Worker, EndsWithAnyNumberOfTasksWaiting) {
  auto ending = std::make_unique<WorkerThread>("ending");
  ASSERT_TRUE(ending->start());
  Latch latch;
  Latch held;
  ending->post([&] {
    held.open();
    EXPECT_TRUE(latch.waits());
  });
  ASSERT_TRUE(held.waits());
  for (int i = 0; i < 500'000; ++i) ending->post([] {});
  ending->stop();
  latch.open();
  ending.reset();
}

}  // namespace
}  // namespace tovik
