#include <gmock/gmock.h>
#include <tovik/exception.h>
#include <tovik/thread_callbacks.h>
#include <tovik/worker_thread.h>

#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "connections.h"
#include "placed_transport.h"
#include "support/latch.h"

namespace tovik {
namespace {

using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;
using testing_support::Awaited;
using testing_support::EventLog;
using testing_support::Events;
using testing_support::Latch;
using testing_support::LoopbackSocket;

/// Records the start and the stop, which must run on the worker.
class Callbacks final : public ThreadCallbacks {
 public:
  explicit Callbacks(std::shared_ptr<EventLog> into) : eventLog_(std::move(into)) {}
  void onThreadStart(WorkerThread& worker) override { note("start", worker); }
  void onThreadStop(WorkerThread& worker) override { note("stop", worker); }
  bool throws = false;

 private:
  void note(const std::string& event, const WorkerThread& worker) {
    EXPECT_TRUE(worker.isCurrent());
    eventLog_->note(event);
    if (throws) throw std::runtime_error(event);
  }
  const std::shared_ptr<EventLog> eventLog_;
};

class TransportLife : public testing_support::Connections {
 protected:
  const std::shared_ptr<EventLog> eventLog = consumer.eventLog();
  Callbacks callbacks{eventLog};

  std::unique_ptr<Transport> transportCalling(std::tr1::function<void(WorkerThread*)> onWorker) {
    return std::make_unique<Transport>(dispatcher.get(), Traits(), &callbacks, nullptr, std::move(onWorker), "called");
  }
};

TEST_F(TransportLife, NeedsADispatcher) {
  try {
    const Transport none(nullptr, Traits(), nullptr, nullptr, {}, "lonely");
    FAIL() << "no exception";
  } catch (const Exception& exception) {
    EXPECT_STREQ(exception.what(), "transport lonely without a dispatcher");
  }
}

TEST_F(TransportLife, NeedsNothingButADispatcher) {
  const Transport plain(dispatcher.get(), Traits(), nullptr, nullptr, {}, "");
}

TEST_F(TransportLife, StartsAndStopsAroundAllEventsOnTheWorker) {
  transport = transportWith({}, &callbacks);
  LoopbackSocket remote = peerWhenUp();
  transport.reset();
  EXPECT_EQ(consumer.events(), (Events{"start", "onNewConduit", "onConduitActive", "getDataAggregator", "onNewChannel",
                                       "onChannelUp", "onChannelDown local", "onConduitInactive", "stop"}));
}

TEST_F(TransportLife, CallsTheFunctionOnceOnTheWorkerBeforeTheFirstEvent) {
  transport = transportCalling([this](WorkerThread* worker) {
    EXPECT_TRUE(worker->isCurrent());
    eventLog->note("function");
  });
  peerWhenUp().close();
  EXPECT_TRUE(consumer.waitsFor("onConduitInactive"));
  EXPECT_EQ(eventLog->count("function"), 1);
  EXPECT_THAT((Events{eventLog->events().at(0), eventLog->events().at(1)}), UnorderedElementsAre("start", "function"));
  transport.reset();
}

// A transport that was destroyed before its first turn reported its start afterwards, perhaps to a destroyed owner.
TEST_F(TransportLife, OfAnInstantCallsBothCallbacksOrNone) {
  for (int round = 0; round < 200; ++round) {
    const auto own = std::make_shared<EventLog>();
    Callbacks brief(own);
    bool gone = false;
    bool calledLate = false;
    {
      Transport passing(
          dispatcher.get(), Traits(), &brief, nullptr, [&](WorkerThread* /*worker*/) { calledLate = gone; }, "brief");
    }
    gone = true;
    const Events told = own->events();
    transport->call([] {});
    ASSERT_EQ(own->events(), told);
    ASSERT_FALSE(calledLate);
    ASSERT_THAT(told, AnyOf(Events(), Events({"start", "stop"})));
  }
}

TEST_F(TransportLife, OfAnInstantOnABusyWorkerCallsBothCallbacksOrNone) {
  Latch held;
  Latch released;
  std::thread holder([&] {
    transport->call([&] {
      held.open();
      EXPECT_TRUE(released.waits());
    });
  });
  ASSERT_TRUE(held.waits());
  const auto own = std::make_shared<EventLog>();
  Callbacks brief(own);
  auto passing = transportWith({}, &brief);
  std::thread destroyer([&] { passing.reset(); });
  released.open();
  destroyer.join();
  holder.join();
  const Events told = own->events();
  transport->call([] {});
  transport->call([] {});
  EXPECT_EQ(own->events(), told);
  EXPECT_THAT(told, AnyOf(Events(), Events({"start", "stop"})));
}

TEST_F(TransportLife, HasStoppedWhenItIsDestroyedInsideAnEvent) {
  transport = transportWith({}, &callbacks);
  Latch done;
  consumer.when("onChannelUp", [&] {
    transport.reset();
    eventLog->note("returning");
    done.open();
  });
  LoopbackSocket remote = peer();
  ASSERT_TRUE(done.waits());
  EXPECT_EQ(eventLog->events(),
            (Events{"start", "onNewConduit", "onConduitActive", "getDataAggregator", "onNewChannel", "onChannelUp",
                    "onChannelDown local", "onConduitInactive", "stop", "returning"}));
}

TEST_F(TransportLife, LogsWhatTheCallbacksThrowAndContinues) {
  callbacks.throws = true;
  transport = transportWith({}, &callbacks);
  LoopbackSocket remote = peer();
  remote.send("x");
  EXPECT_TRUE(consumer.waitsForData(1));
  transport.reset();
  EXPECT_THAT(log.texts(), ElementsAre("Tovik: transport start: exception in a handler: start",
                                       "Tovik: transport stop: exception in a handler: stop"));
}

TEST_F(TransportLife, ThatIsVeryShortIsReportedAsAPairOrNotAtAllOnManyThreads) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([this] {
      for (int round = 0; round < 50; ++round) {
        const auto own = std::make_shared<EventLog>();
        Callbacks brief(own);
        auto passing = transportWith({}, &brief);
        passing->call([] {});
        passing.reset();
        EXPECT_THAT(own->events(), AnyOf(Events(), Events({"start", "stop"})));
      }
    });
  for (auto& thread : threads) thread.join();
}

class TransportCall : public testing_support::Connections {};

TEST_F(TransportCall, RunsOnTheWorkerAndHasRunWhenItReturns) {
  std::thread::id thread;
  transport->call([&] { thread = std::this_thread::get_id(); });
  EXPECT_NE(thread, std::thread::id());
  EXPECT_NE(thread, std::this_thread::get_id());
}

TEST_F(TransportCall, RunsAtOnceOnTheWorkerItself) {
  std::vector<std::string> order;
  transport->call([&] {
    transport->call([&] { order.emplace_back("inner"); });
    order.emplace_back("outer");
  });
  EXPECT_THAT(order, ElementsAre("inner", "outer"));
}

TEST_F(TransportCall, RethrowsAnExceptionInTheCaller) {
  EXPECT_THROW(transport->call([] { throw std::runtime_error("boom"); }), std::runtime_error);
  EXPECT_THAT(log.texts(), ElementsAre());
}

TEST_F(TransportCall, MayDestroyTheTransport) {
  LoopbackSocket remote = peerWhenUp();
  Transport& called = *transport;
  called.call([this] { transport.reset(); });
  EXPECT_EQ(transport, nullptr);
  EXPECT_TRUE(testing_support::isWholeLife(consumer.events()));
}

TEST_F(TransportCall, RunsBetweenTwoEventsNeverInsideOne) {
  Awaited<int> inside;
  consumer.when("data", [&] {
    inside.change([](int& count) { ++count; });
    std::this_thread::yield();
    inside.change([](int& count) { --count; });
  });
  LoopbackSocket remote = peerWhenUp();
  for (int round = 0; round < 200; ++round) {
    remote.send("x");
    transport->call([&] { EXPECT_EQ(inside.get(), 0); });
  }
  transport.reset();
}

TEST_F(TransportCall, EndsBetweenTwoWorkersThatDestroyEachOthersTransports) {
  const testing_support::ScopedDispatcher otherDispatcher("e");
  auto other = std::make_unique<Transport>(otherDispatcher.get(), Traits(), nullptr, nullptr,
                                           std::tr1::function<void(WorkerThread*)>(), "other");
  testing_support::PlacedTransport here(dispatcher.get());
  testing_support::PlacedTransport there(otherDispatcher.get());
  Latch hereReady;
  Latch thereReady;
  Latch hereDone;
  Latch thereDone;
  here.worker().post([&] {
    hereReady.open();
    EXPECT_TRUE(thereReady.waits());
    other.reset();
    hereDone.open();
  });
  there.worker().post([&] {
    thereReady.open();
    EXPECT_TRUE(hereReady.waits());
    transport.reset();
    thereDone.open();
  });
  EXPECT_TRUE(hereDone.waits());
  EXPECT_TRUE(thereDone.waits());
}

}  // namespace
}  // namespace tovik
