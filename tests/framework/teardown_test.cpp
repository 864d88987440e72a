#include <gmock/gmock.h>
#include <tovik/channel.h>

#include <deque>
#include <functional>
#include <future>
#include <string>
#include <system_error>
#include <thread>

#include "connections.h"
#include "server_fixture.h"
#include "support/latch.h"

namespace tovik {
namespace {

using testing_support::Events;
using testing_support::eventsEndedIn;
using testing_support::HeldWorker;
using testing_support::isWholeLife;
using testing_support::Latch;
using testing_support::LoopbackSocket;
using testing_support::Recorder;

/// A connection that has all its events and is ended by the peer. The parameter names the event in which the test acts
/// on it.
class InsideEvent : public testing_support::Connections, public ::testing::WithParamInterface<std::string> {
 protected:
  /// Connects, has the peer send a byte and end the connection, and does the act in the event.
  void actInEvent(std::function<void()> act) {
    consumer.when(GetParam(), [this, act = std::move(act)] {
      act();
      done.open();
    });
    LoopbackSocket remote = peer();
    sendQuietly(remote);
    if (isOneOfTheLast()) remote.shutdownSending();
    EXPECT_TRUE(done.waits());
    EXPECT_TRUE(remote.waitForEnd());
  }

  /// Runs the act on this thread while the event is being handled.
  void actDuringEvent(const std::function<void()>& act) {
    Latch entered;
    Latch acting;
    consumer.when(GetParam(), [&] {
      entered.open();
      EXPECT_TRUE(acting.waits());
    });
    LoopbackSocket remote = peer();
    sendQuietly(remote);
    if (isOneOfTheLast()) remote.shutdownSending();
    ASSERT_TRUE(entered.waits());
    acting.open();
    act();
  }

  static bool isOneOfTheLast() { return GetParam() == "onChannelDown" || GetParam() == "onConduitInactive"; }

  Latch done;

 private:
  /// The other side may have ended the connection before it was even accepted.
  static void sendQuietly(LoopbackSocket& remote) {
    try {
      remote.send("x");
    } catch (const std::system_error&) {
    }
  }
};

INSTANTIATE_TEST_SUITE_P(Each, InsideEvent, ::testing::ValuesIn(testing_support::allEvents()));

TEST_P(InsideEvent, DeactivatingDeliversTheRemainingEventsBeforeItReturns) {
  Events told;
  actInEvent([&] {
    EXPECT_TRUE(transport->deactivateAllConduits(-1));
    told = consumer.events();
  });
  EXPECT_EQ(told, eventsEndedIn(GetParam()));
  transport->call([] {});
  EXPECT_EQ(consumer.events(), told);
}

TEST_P(InsideEvent, DeactivatingEndsTheOtherConnectionsToo) {
  Recorder& other = another();
  LoopbackSocket otherPeer = peerOf(other);
  ASSERT_TRUE(other.waitsFor("onChannelUp"));
  bool othersTold = false;
  actInEvent([&] {
    EXPECT_TRUE(transport->deactivateAllConduits(-1));
    othersTold = isWholeLife(other.events());
  });
  EXPECT_TRUE(othersTold);
}

TEST_P(InsideEvent, DestroyingTheTransportDeliversTheRemainingEventsBeforeItReturns) {
  Events told;
  actInEvent([&] {
    transport.reset();
    told = consumer.events();
  });
  EXPECT_EQ(told, eventsEndedIn(GetParam()));
}

TEST_P(InsideEvent, DestroyingTheTransportEndsTheOtherConnectionsToo) {
  Recorder& other = another();
  LoopbackSocket otherPeer = peerOf(other);
  ASSERT_TRUE(other.waitsFor("onChannelUp"));
  bool othersTold = false;
  actInEvent([&] {
    transport.reset();
    othersTold = isWholeLife(other.events());
  });
  EXPECT_TRUE(othersTold);
}

TEST_P(InsideEvent, DestroyingTheTransportExpiresItsLife) {
  const auto life = transport->life();
  bool expired = false;
  actInEvent([&] {
    EXPECT_FALSE(life.expired());
    transport.reset();
    expired = life.expired();
  });
  EXPECT_TRUE(expired);
}

TEST_P(InsideEvent, DeactivatingOnAnotherThreadWaitsForTheRemainingEvents) {
  actDuringEvent([this] {
    EXPECT_TRUE(transport->deactivateAllConduits(-1));
    EXPECT_TRUE(isWholeLife(consumer.events()));
  });
  const Events told = consumer.events();
  transport->call([] {});
  EXPECT_EQ(consumer.events(), told);
}

TEST_P(InsideEvent, DestroyingTheTransportOnAnotherThreadWaitsForTheRemainingEvents) {
  actDuringEvent([this] {
    transport.reset();
    EXPECT_TRUE(isWholeLife(consumer.events()));
  });
}

TEST_P(InsideEvent, AnotherConnectionMayBeStarted) {
  Recorder& next = another();
  consumer.when(GetParam(), [&] { EXPECT_TRUE(connect(*transport, next, listener.address())); });
  LoopbackSocket first = peer();
  first.send("x");
  first.shutdownSending();
  LoopbackSocket second = listener.accept();
  second.send("y");
  EXPECT_TRUE(next.waitsForData(1));
  EXPECT_TRUE(consumer.waitsFor("onConduitInactive"));
}

class Teardown : public testing_support::Connections {};

TEST_F(Teardown, OfManyConnectionsNotifiesEachConsumer) {
  std::deque<LoopbackSocket> remotes;
  for (int i = 0; i < 20; ++i) remotes.push_back(peerOf(another()));
  EXPECT_TRUE(transport->deactivateAllConduits(-1));
  for (const auto& recorder : others) EXPECT_TRUE(isWholeLife(recorder.events()));
  for (auto& remote : remotes) EXPECT_TRUE(remote.waitForEnd());
}

TEST_F(Teardown, OfNoConnectionReturnsAtOnce) {
  EXPECT_TRUE(transport->deactivateAllConduits(-1));
  EXPECT_TRUE(transport->deactivateAllConduits(0) || transport->deactivateAllConduits(30'000));
}

TEST_F(Teardown, LeavesTheTransportUsable) {
  LoopbackSocket first = peerOf(another());
  EXPECT_TRUE(transport->deactivateAllConduits(-1));
  LoopbackSocket second = peerWhenUp();
  second.send("x");
  EXPECT_TRUE(consumer.waitsForData(1));
}

TEST_F(Teardown, DoesNotAffectConnectionsStartedDuringItsEvents) {
  Recorder& successor = another();
  consumer.when("onConduitInactive", [&] { EXPECT_TRUE(connect(*transport, successor, listener.address())); });
  LoopbackSocket first = peerWhenUp();
  EXPECT_TRUE(transport->deactivateAllConduits(-1));
  LoopbackSocket second = listener.accept();
  second.send("x");
  EXPECT_TRUE(successor.waitsForData(1));
}

TEST_F(Teardown, DoesNotAffectConnectionsThatSeveralConsumersStartInTheirLastEvent) {
  constexpr unsigned long count = 5;
  std::deque<Recorder*> successors;
  std::deque<LoopbackSocket> firsts;
  for (unsigned long i = 0; i < count; ++i) successors.push_back(&another());
  for (Recorder* const successor : successors) {
    Recorder& ending = another();
    ending.when("onConduitInactive",
                [this, successor] { EXPECT_TRUE(connect(*transport, *successor, listener.address())); });
    firsts.push_back(peerOf(ending));
  }
  EXPECT_TRUE(transport->deactivateAllConduits(-1));
  for (unsigned long i = count; i < others.size(); ++i) EXPECT_TRUE(isWholeLife(others[i].events()));
  for (auto& first : firsts) EXPECT_TRUE(first.waitForEnd());
  for (Recorder* const successor : successors) {
    LoopbackSocket second = listener.accept();
    second.send("x");
    EXPECT_TRUE(successor->waitsFor("data"));
    EXPECT_EQ(successor->events().back(), "data");
  }
}

TEST_F(Teardown, OnTheWorkerDoesNotAffectTheConnectionThatTheFirstConsumerStarts) {
  Recorder& successor = another();
  consumer.when("onConduitInactive", [&] { EXPECT_TRUE(connect(*transport, successor, listener.address())); });
  LoopbackSocket first = peerWhenUp();
  std::deque<LoopbackSocket> rest;
  for (int i = 0; i < 4; ++i) rest.push_back(peerOf(another()));
  transport->call([&] {
    EXPECT_TRUE(transport->deactivateAllConduits(-1));
    EXPECT_EQ(successor.events(), Events());
    for (unsigned long i = 1; i < others.size(); ++i) EXPECT_TRUE(isWholeLife(others[i].events()));
  });
  LoopbackSocket second = listener.accept();
  second.send("x");
  EXPECT_TRUE(successor.waitsFor("data"));
  EXPECT_EQ(successor.events().back(), "data");
}

TEST_F(Teardown, OfTheTransportRefusesNewConnectionsDuringItsEvents) {
  Recorder& successor = another();
  bool refused = false;
  consumer.when("onConduitInactive",
                [&, client = std::make_shared<Client>(*transport, Protocol::tcp, successor, "late", false, nullptr)] {
                  refused = !client->setup_and_connect(listener.address(), Address(0), -1);
                });
  LoopbackSocket first = peerWhenUp();
  transport.reset();
  EXPECT_TRUE(refused);
  EXPECT_EQ(successor.events(), Events());
}

TEST_F(Teardown, ContinuesAfterItsLimitHasPassed) {
  for (const int limit_ms : {0, 1}) {
    Recorder& up = another();
    Recorder& fresh = another();
    LoopbackSocket first = peerOf(up);
    ASSERT_TRUE(up.waitsFor("onChannelUp"));
    LoopbackSocket second;
    {
      const HeldWorker held(*transport);
      second = peerOf(fresh);
      auto ended = std::async(std::launch::async, [&] { return transport->deactivateAllConduits(limit_ms); });
      // It returns while the worker is still held.
      ASSERT_EQ(ended.wait_for(testing_support::deadline), std::future_status::ready);
      EXPECT_FALSE(ended.get());
      EXPECT_EQ(up.events().back(), "onChannelUp");
      EXPECT_EQ(fresh.events(), Events());
    }
    EXPECT_TRUE(up.waitsFor("onConduitInactive"));
    EXPECT_EQ(up.events(), eventsEndedIn("onChannelUp"));
    EXPECT_TRUE(fresh.waitsFor("onConduitInactive"));
    EXPECT_EQ(fresh.events(), eventsEndedIn("onChannelUp"));
    EXPECT_TRUE(first.waitForEnd());
    EXPECT_TRUE(second.waitForEnd());
  }
}

TEST_F(Teardown, FinishesWithinItsLimit) {
  LoopbackSocket remote = peerWhenUp();
  EXPECT_TRUE(transport->deactivateAllConduits(30'000));
  EXPECT_TRUE(isWholeLife(consumer.events()));
}

TEST_F(Teardown, BySeveralThreadsNotifiesOnce) {
  LoopbackSocket remote = peer();
  std::deque<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([this] {
      EXPECT_TRUE(transport->deactivateAllConduits(-1));
      EXPECT_TRUE(isWholeLife(consumer.events()));
    });
  for (auto& thread : threads) thread.join();
  EXPECT_TRUE(isWholeLife(consumer.events()));
}

TEST_F(Teardown, AtAnyMomentDeliversEveryEventOfTheConnection) {
  for (int round = 0; round < 100; ++round) {
    Recorder& passing = another();
    LoopbackSocket remote = peerOf(passing);
    remote.send("x");
    remote.close();
    for (int i = 0; i < round * 20; ++i) std::this_thread::yield();
    transport.reset();
    EXPECT_TRUE(isWholeLife(passing.events()));
    transport = transportWith();
  }
}

}  // namespace
}  // namespace tovik
