#include <gtest/gtest.h>
#include <pthread.h>
#include <tovik/thread.h>

#include <sstream>
#include <string>
#include <thread>

#include "support/latch.h"
#include "support/leak_check.h"
#include "support/sanitizer.h"

namespace tovik {
namespace {

using testing_support::Latch;

/// Runs until it is both asked to stop and allowed to end.
class Runner final : public Thread {
 public:
  Runner() : Thread("runner") {}
  ~Runner() override {
    mayEnd.open();
    Thread::kill();
  }

  void run(const volatile bool& stopping) override {
    ++runs;
    joinedItself = join(-1);
    running.open();
    while (!isSet(stopping)) std::this_thread::yield();
    EXPECT_TRUE(mayEnd.waits());
  }

  int runs = 0;
  bool joinedItself = true;
  Latch running;
  Latch mayEnd;
};

std::string textOf(const Thread& thread) {
  std::ostringstream text;
  text << thread;
  return text.str();
}

class SystemThread : public testing_support::LeakCheckedTest {
 protected:
  void begin() {
    ASSERT_TRUE(runner.start());
    ASSERT_TRUE(runner.running.waits());
  }
  Runner runner;
};

TEST_F(SystemThread, RunsFromStartToStop) {
  EXPECT_FALSE(runner.is_running());
  begin();
  EXPECT_TRUE(runner.is_running());
  runner.mayEnd.open();
  runner.stop();
  EXPECT_TRUE(runner.join(-1));
  EXPECT_FALSE(runner.is_running());
}

TEST_F(SystemThread, DoesNotStartTwice) {
  begin();
  const Result second = runner.start();
  EXPECT_FALSE(second);
  EXPECT_EQ(second.message, "thread runner is already running");
  runner.mayEnd.open();
  runner.kill();
  EXPECT_EQ(runner.runs, 1);
}

TEST_F(SystemThread, StartsAgainAfterItsEnd) {
  runner.mayEnd.open();
  begin();
  runner.kill();
  EXPECT_TRUE(runner.start());
  runner.kill();
  EXPECT_EQ(runner.runs, 2);
}

TEST_F(SystemThread, StartsAgainAfterAnEndThatNobodyJoined) {
  runner.mayEnd.open();
  begin();
  runner.stop();
  while (runner.is_running()) std::this_thread::yield();
  EXPECT_TRUE(runner.start());
  runner.kill();
  EXPECT_EQ(runner.runs, 2);
}

TEST_F(SystemThread, IsNotWaitedForLongerThanTheLimit) {
  begin();
  EXPECT_FALSE(runner.join(0));
  runner.stop();
  EXPECT_FALSE(runner.join(1));
  EXPECT_TRUE(runner.is_running());
  runner.mayEnd.open();
  EXPECT_TRUE(runner.join(30'000));
}

TEST_F(SystemThread, IsJoinedWhenItNeverStarted) {
  EXPECT_TRUE(runner.join(-1));
  EXPECT_TRUE(runner.join(0));
}

TEST_F(SystemThread, IsJoinedTwice) {
  runner.mayEnd.open();
  begin();
  runner.kill();
  EXPECT_TRUE(runner.join(-1));
  EXPECT_TRUE(runner.join(0));
}

TEST_F(SystemThread, CannotJoinItself) {
  runner.mayEnd.open();
  begin();
  runner.kill();
  EXPECT_FALSE(runner.joinedItself);
}

TEST_F(SystemThread, IsKilledWhenItNeverStarted) {
  runner.kill();
  EXPECT_FALSE(runner.is_running());
}

TEST_F(SystemThread, RunsAgainThoughItWasStoppedBeforeTheStart) {
  runner.stop();
  begin();
  EXPECT_TRUE(runner.is_running());
}

TEST_F(SystemThread, PrintsItsNameAndWhetherItRuns) {
  EXPECT_EQ(textOf(runner), "thread runner, not running");
  begin();
  EXPECT_EQ(textOf(runner), "thread runner, running");
}

/// The stack size of new threads while the object exists.
class StackSize {
 public:
  explicit StackSize(unsigned long bytes) {
    EXPECT_EQ(::pthread_getattr_default_np(&before_), 0);
    pthread_attr_t large;
    EXPECT_EQ(::pthread_getattr_default_np(&large), 0);
    EXPECT_EQ(::pthread_attr_setstacksize(&large, bytes), 0);
    EXPECT_EQ(::pthread_setattr_default_np(&large), 0);
    ::pthread_attr_destroy(&large);
  }
  StackSize(const StackSize&) = delete;
  StackSize& operator=(const StackSize&) = delete;
  ~StackSize() {
    EXPECT_EQ(::pthread_setattr_default_np(&before_), 0);
    ::pthread_attr_destroy(&before_);
  }

 private:
  pthread_attr_t before_;
};

TEST_F(SystemThread, FailsToStartWithoutMemoryForItsStackAndStartsLater) {
  if (testing_support::underSanitizer) GTEST_SKIP() << "a sanitizer ends a program without room for a stack";
  {
    const StackSize tooLarge(1UL << 47U);
    EXPECT_EQ(runner.start().message, "thread runner: Resource temporarily unavailable");
  }
  EXPECT_FALSE(runner.is_running());
  begin();
}

}  // namespace
}  // namespace tovik
