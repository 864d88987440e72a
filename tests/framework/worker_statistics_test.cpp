#include <gtest/gtest.h>
#include <tovik/channel.h>
#include <tovik/worker_thread.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "connections.h"
#include "support/latch.h"
#include "support/manual_clock.h"

namespace tovik {
namespace {

using testing_support::Latch;
using testing_support::LoopbackSocket;
using testing_support::ManualClock;
using testing_support::ScopedDispatcher;

TEST(WorkerStatisticsOfADispatcher, AreThoseOfEachOfItsWorkers) {
  const ScopedDispatcher idle{"idle", 3};
  const std::vector<WorkerStatistics> each = idle.get()->statistics();
  ASSERT_EQ(each.size(), 3U);
  for (const auto& worker : each) EXPECT_EQ(worker.connections.started, 0U);
}

class ConnectionsOfAWorker : public testing_support::Connections {
 protected:
  ConnectionStatistics figures() const { return dispatcher.get()->statistics().at(0).connections; }
};

TEST_F(ConnectionsOfAWorker, AreThoseOfAllItsTransportsAlsoOfThoseThatAreGone) {
  LoopbackSocket first = peerWhenUp();
  first.send("hello");
  ASSERT_TRUE(consumer.waitsForData(5));
  auto& second = another();
  auto other = transportWith();
  LoopbackSocket connection = peerOf(*other, second);
  ASSERT_TRUE(second.waitsFor("onChannelUp"));
  connection.send("you");
  ASSERT_TRUE(second.waitsForData(3));
  EXPECT_EQ(figures().started, 2U);
  EXPECT_EQ(figures().up, 2U);
  EXPECT_EQ(figures().open(), 2U);
  EXPECT_EQ(figures().bytes_in, 8U);
  EXPECT_EQ(other->statistics().bytes_in, 3U);
  other.reset();
  EXPECT_EQ(figures().started, 2U);
  EXPECT_EQ(figures().open(), 1U);
  EXPECT_EQ(figures().ended_here, 1U);
  EXPECT_EQ(figures().bytes_in, 8U);
}

TEST_F(ConnectionsOfAWorker, CountWhatAnyThreadHasSent) {
  consumer.when("onChannelUp", [this] { consumer.channel()->send("abc", 3); });
  LoopbackSocket connection = peerWhenUp();
  consumer.channel()->send("defgh", 5);
  EXPECT_EQ(figures().bytes_out, 8U);
}

class HandlersOfAWorker : public testing_support::LeakCheckedTest {
 protected:
  HandlersOfAWorker() { EXPECT_TRUE(worker.start()); }

  /// Runs something on a worker, as a handler that has been counted when this returns.
  static void handle(WorkerThread& on, const std::function<void()>& act) {
    on.call(act);
    on.call([] {});
  }
  std::chrono::nanoseconds longest() const { return worker.statistics().longest_handler; }

  ManualClock clock;
  WorkerThread worker{"counted", clock};
};

/// What a handler posts runs in the next turn.
TEST_F(HandlersOfAWorker, TakeAWakeUpForEachTurn) {
  unsigned long long first = 0;
  unsigned long long second = 0;
  Latch done;
  worker.post([&] {
    first = worker.statistics().wake_ups;
    worker.post([&] {
      second = worker.statistics().wake_ups;
      done.open();
    });
  });
  ASSERT_TRUE(done.waits());
  EXPECT_GT(first, 0U);
  EXPECT_EQ(second, first + 1);
}

TEST_F(HandlersOfAWorker, AreTimedAndTheLongestIsKept) {
  constexpr std::chrono::milliseconds busy{3};
  handle(worker, [&] { clock.advance(busy); });
  EXPECT_EQ(longest(), busy);
  handle(worker, [&] { clock.advance(busy - clock.tick); });
  EXPECT_EQ(longest(), busy);
}

TEST_F(HandlersOfAWorker, AreTimedWhenTheyThrowToo) {
  constexpr std::chrono::milliseconds busy{3};
  const testing_support::LogCapture log(30);
  Latch next;
  worker.post([&] {
    clock.advance(busy);
    throw 1;
  });
  worker.post([&] { next.open(); });
  EXPECT_TRUE(next.waits());
  EXPECT_EQ(longest(), busy);
}

}  // namespace
}  // namespace tovik
