#include <gmock/gmock.h>
#include <tovik/worker_thread.h>

#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "connections.h"
#include "support/latch.h"
#include "support/rest.h"
#include "support/watchdog.h"

// While a handler waits for another worker, no other handler of its transport runs. Calls of the workers that it waits
// for, directly or through others, do run, so that no ring of workers waits forever.

namespace tovik {
namespace {

using ::testing::ElementsAre;
using testing_support::Awaited;
using testing_support::eventsUpTo;
using testing_support::isWholeLife;
using testing_support::Latch;
using testing_support::LoopbackSocket;
using testing_support::othersComeToRest;
using testing_support::Recorder;
using testing_support::ScopedDispatcher;

class WaitingWorker : public testing_support::LeakCheckedTest {
 protected:
  WaitingWorker() {
    for (WorkerThread* const worker : {&one, &other, &third}) EXPECT_TRUE(worker->start());
  }

  /// A handler of one worker waits for the other worker until, after `calling` has opened, all other threads are
  /// blocked.
  void oneWaitsInAHandler() {
    one.post([this] {
      order.emplace_back("handler begins");
      other.call([this] {
        waiting.open();
        EXPECT_TRUE(othersComeToRest([this] { return calling.isOpen(); }));
      });
      order.emplace_back("handler ends");
      ended.open();
    });
    ASSERT_TRUE(waiting.waits());
  }
  void callOne() {
    calling.open();
    one.call([this] { order.emplace_back("call"); });
  }

  const testing_support::Watchdog watchdog;
  std::vector<std::string> order;  // of one's doing
  Latch waiting;
  Latch calling;
  Latch ended;
  WorkerThread one{"one"};
  WorkerThread other{"other"};
  WorkerThread third{"third"};
};

// Calls ran inside the waiting handler.
TEST_F(WaitingWorker, RunsACallOfAHostThreadAfterItsHandler) {
  oneWaitsInAHandler();
  callOne();
  ASSERT_TRUE(ended.waits());
  EXPECT_THAT(order, ElementsAre("handler begins", "handler ends", "call"));
}

// The same.
TEST_F(WaitingWorker, RunsACallOfAWorkerThatItDoesNotWaitForAfterItsHandler) {
  oneWaitsInAHandler();
  Latch called;
  third.post([&] {
    callOne();
    called.open();
  });
  ASSERT_TRUE(called.waits());
  ASSERT_TRUE(ended.waits());
  EXPECT_THAT(order, ElementsAre("handler begins", "handler ends", "call"));
}

TEST_F(WaitingWorker, ServesTheWorkerThatItWaitsFor) {
  one.post([this] {
    other.call([this] { callOne(); });
    order.emplace_back("handler ends");
    ended.open();
  });
  ASSERT_TRUE(ended.waits());
  EXPECT_THAT(order, ElementsAre("call", "handler ends"));
}

TEST_F(WaitingWorker, ServesTheWorkerThatItWaitsForThroughAnother) {
  one.post([this] {
    other.call([this] { third.call([this] { callOne(); }); });
    order.emplace_back("handler ends");
    ended.open();
  });
  ASSERT_TRUE(ended.waits());
  EXPECT_THAT(order, ElementsAre("call", "handler ends"));
}

TEST_F(WaitingWorker, ReturnsWhenItsWaitBecomesACycleLater) {
  Latch called;
  one.post([this] {
    other.call([this] {
      waiting.open();
      EXPECT_TRUE(othersComeToRest([this] { return calling.isOpen(); }));
      third.call([] {});
    });
    ended.open();
  });
  ASSERT_TRUE(waiting.waits());
  third.post([&] {
    callOne();
    called.open();
  });
  EXPECT_TRUE(ended.waits());
  EXPECT_TRUE(called.waits());
}

TEST_F(WaitingWorker, ReturnsFromACycleOfThree) {
  Awaited<int> inside;
  Awaited<int> done;
  const std::vector<WorkerThread*> ring{&one, &other, &third};
  for (std::size_t i = 0; i < ring.size(); ++i)
    ring[i]->post([&, next = ring[(i + 1) % ring.size()]] {
      inside.change([](int& count) { ++count; });
      EXPECT_TRUE(inside.waitUntil([](int count) { return count == 3; }));
      bool ranThere = false;
      next->call([&] { ranThere = next->isCurrent(); });
      EXPECT_TRUE(ranThere);
      done.change([](int& count) { ++count; });
    });
  EXPECT_TRUE(done.waitUntil([](int count) { return count == 3; }));
}

/// A consumer of one transport waits, inside an event, for the end of another transport's connection, whose consumer
/// delays it until every other thread is blocked.
class WaitingEvent : public testing_support::Connections {
 protected:
  ~WaitingEvent() override {
    second.reset();
    transport.reset();
  }

  /// Returns when the event is waiting.
  void waitsIn(const std::string& event, const std::function<void()>& wait) {
    Recorder& secondConsumer = another();
    secondPeer = peerOf(*second, secondConsumer);
    ASSERT_TRUE(secondConsumer.waitsFor("onChannelUp"));
    secondConsumer.when("onConduitInactive", [this] {
      waiting.open();
      EXPECT_TRUE(othersComeToRest([this] { return acting.isOpen(); }));
    });
    consumer.when(event, [this, event, wait] {
      wait();
      EXPECT_EQ(consumer.events(), eventsUpTo(event));
      eventEnded.open();
    });
    firstPeer = peer();
    firstPeer.send("x");
    ASSERT_TRUE(waiting.waits());
  }

  const testing_support::Watchdog watchdog;
  const ScopedDispatcher secondDispatcher{"second"};
  Latch waiting;
  Latch acting;
  Latch eventEnded;
  LoopbackSocket firstPeer;
  LoopbackSocket secondPeer;
  std::unique_ptr<Transport> second = std::make_unique<Transport>(secondDispatcher.get(), Traits(), nullptr, nullptr,
                                                                  std::tr1::function<void(WorkerThread*)>(), "second");
};

// The transport was destroyed before its event had returned.
TEST_F(WaitingEvent, HasReturnedWhenTheTransportIsDestroyedOnAnotherThread) {
  waitsIn("data", [this] { EXPECT_TRUE(second->deactivateAllConduits(-1)); });
  acting.open();
  transport.reset();
  EXPECT_TRUE(eventEnded.isOpen());
  EXPECT_TRUE(eventEnded.waits());
  EXPECT_TRUE(isWholeLife(consumer.events()));
}

// The same.
TEST_F(WaitingEvent, ThatDestroysATransportHasReturnedWhenItsOwnIsDestroyedOnAnotherThread) {
  waitsIn("onChannelUp", [this] { second.reset(); });
  acting.open();
  transport.reset();
  EXPECT_TRUE(eventEnded.isOpen());
  EXPECT_TRUE(eventEnded.waits());
  EXPECT_TRUE(isWholeLife(consumer.events()));
}

// The end was reported inside the event that waited.
TEST_F(WaitingEvent, IsFollowedByTheEndThatAnotherThreadRequested) {
  waitsIn("data", [this] { EXPECT_TRUE(second->deactivateAllConduits(-1)); });
  acting.open();
  EXPECT_TRUE(transport->deactivateAllConduits(-1));
  EXPECT_TRUE(eventEnded.isOpen());
  EXPECT_TRUE(eventEnded.waits());
  EXPECT_TRUE(isWholeLife(consumer.events()));
}

}  // namespace
}  // namespace tovik
