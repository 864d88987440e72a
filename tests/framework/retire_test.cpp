#include <gmock/gmock.h>
#include <tovik/channel.h>

#include <memory>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "connections.h"
#include "support/latch.h"
#include "unanswered_address.h"

namespace tovik {
namespace {

using ::testing::ElementsAre;
using testing_support::Events;
using testing_support::eventsUpTo;
using testing_support::Heard;
using testing_support::heldNow;
using testing_support::Latch;
using testing_support::LoopbackSocket;
using testing_support::Recorder;

/// Does something while it is destroyed.
class Parting final : public Recorder {
 public:
  ~Parting() override {
    if (part) part();
  }
  std::function<void()> part;
};

class Retiring : public testing_support::Connections {
 protected:
  /// A consumer of its own, which only retire destroys.
  Parting& fresh() {
    auto* const made = new Parting;
    heard = made->heard();
    return *made;
  }
  Events withEnd(Events events) const {
    events.emplace_back("destroyed");
    return events;
  }

  std::shared_ptr<Heard> heard;
};

TEST_F(Retiring, NothingDoesNothing) { transport->retire(nullptr); }

TEST_F(Retiring, AConsumerThatNeverHadAConnectionDestroysItAtOnceOnThisThread) {
  Parting& idle = fresh();
  std::thread::id thread;
  idle.part = [&] { thread = std::this_thread::get_id(); };
  transport->retire(&idle);
  EXPECT_THAT(heard->events(), ElementsAre("destroyed"));
  EXPECT_EQ(thread, std::this_thread::get_id());
}

TEST_F(Retiring, AConsumerWhoseConnectionHasEndedDestroysItAtOnce) {
  Parting& past = fresh();
  LoopbackSocket remote = peerOf(past);
  remote.close();
  ASSERT_TRUE(heard->waitsFor("onConduitInactive"));
  transport->call([] {});
  transport->retire(&past);
  EXPECT_EQ(heard->events().back(), "destroyed");
}

TEST_F(Retiring, AConsumerThatIsConnectedEndsItsConnectionWithoutAnEvent) {
  Parting& busy = fresh();
  Latch destroyed;
  std::thread::id worker;
  std::thread::id thread;
  transport->call([&] { worker = std::this_thread::get_id(); });
  busy.part = [&] {
    thread = std::this_thread::get_id();
    destroyed.open();
  };
  LoopbackSocket remote = peerOf(busy);
  ASSERT_TRUE(heard->waitsFor("onChannelUp"));
  transport->retire(&busy);
  ASSERT_TRUE(destroyed.waits());
  EXPECT_TRUE(heard->waitsFor("destroyed"));
  EXPECT_TRUE(remote.waitForEnd());
  EXPECT_EQ(heard->events(), withEnd(eventsUpTo("onChannelUp")));
  EXPECT_EQ(thread, worker);
}

TEST_F(Retiring, OnTheWorkerBetweenEventsDestroysAtOnce) {
  Parting& busy = fresh();
  LoopbackSocket remote = peerOf(busy);
  ASSERT_TRUE(heard->waitsFor("onChannelUp"));
  transport->call([&] {
    transport->retire(&busy);
    heard->note("returned");
  });
  Events events = withEnd(eventsUpTo("onChannelUp"));
  events.emplace_back("returned");
  EXPECT_EQ(heard->events(), events);
  EXPECT_TRUE(remote.waitForEnd());
}

TEST_F(Retiring, AConsumerThatIsStillConnectingDestroysIt) {
  const testing_support::UnansweredAddress mute;
  Parting& waiting = fresh();
  ASSERT_TRUE(connect(*transport, waiting, mute.address()));
  ASSERT_TRUE(heard->waitsFor("onNewConduit"));
  transport->retire(&waiting);
  EXPECT_TRUE(heard->waitsFor("destroyed"));
  EXPECT_THAT(heard->events(), ElementsAre("onNewConduit", "destroyed"));
}

TEST_F(Retiring, AConsumerBeforeItsFirstEventDestroysItWithoutOne) {
  Parting& early = fresh();
  transport->call([&] {
    ASSERT_TRUE(connect(*transport, early, listener.address()));
    transport->retire(&early);
    EXPECT_EQ(heard->count("destroyed"), 1);
  });
  EXPECT_THAT(heard->events(), ElementsAre("destroyed"));
}

TEST_F(Retiring, LeavesTheOtherConsumersAlone) {
  Parting& busy = fresh();
  LoopbackSocket other = peer();
  LoopbackSocket remote = peerOf(busy);
  transport->retire(&busy);
  ASSERT_TRUE(heard->waitsFor("destroyed"));
  other.send("x");
  EXPECT_TRUE(consumer.waitsForData(1));
}

TEST_F(Retiring, ByTheTransportsEndIsDone) {
  Parting& busy = fresh();
  LoopbackSocket remote = peerOf(busy);
  Latch held;
  Latch released;
  std::thread holder([&] {
    transport->call([&] {
      held.open();
      EXPECT_TRUE(released.waits());
    });
  });
  ASSERT_TRUE(held.waits());
  transport->retire(&busy);
  released.open();
  holder.join();
  transport.reset();
  EXPECT_EQ(heard->events().back(), "destroyed");
}

TEST_F(Retiring, LeavesTheChannelFitForTheDestructor) {
  Parting& busy = fresh();
  busy.part = [&] {
    busy.channel()->send("bye", 3);
    busy.channel()->bringDown();
    busy.channel()->bringDownWhenSent();
  };
  LoopbackSocket remote = peerOf(busy);
  ASSERT_TRUE(heard->waitsFor("onChannelUp"));
  transport->retire(&busy);
  EXPECT_TRUE(heard->waitsFor("destroyed"));
  EXPECT_TRUE(remote.waitForEnd());
}

TEST_F(Retiring, LeavesTheChannelsOfEarlierConnectionsFitForTheDestructor) {
  Parting& busy = fresh();
  std::vector<Channel*> channels;
  busy.when("onChannelUp", [&] { channels.push_back(busy.channel()); });
  for (long i = 1; i <= 3; ++i) {
    peerOf(busy).close();
    ASSERT_TRUE(heard->waitsFor("onConduitInactive", i));
  }
  busy.part = [&] {
    for (Channel* const channel : channels) channel->bringDown();
  };
  transport->call([] {});
  transport->retire(&busy);
  EXPECT_EQ(channels.size(), 3U);
  EXPECT_EQ(heard->count("destroyed"), 1);
}

TEST_F(Retiring, AConsumerThatConnectsInItsDestructorConnectsNoMore) {
  Parting& stubborn = fresh();
  LoopbackSocket remote = peerOf(stubborn);
  ASSERT_TRUE(heard->waitsFor("onChannelUp"));
  bool refused = false;
  stubborn.part = [&] { refused = !connect(*transport, stubborn, listener.address()); };
  transport->call([&] { transport->retire(&stubborn); });
  EXPECT_TRUE(refused);
}

TEST_F(Retiring, AConsumerInsideOnNewSocketDestroysItAndConnectsNothing) {
  Parting& hasty = fresh();
  hasty.socketAct = [&](Socket& /*socket*/) {
    const auto kept = heard;
    transport->retire(&hasty);
    kept->note("returning");
  };
  EXPECT_EQ(connect(*transport, hasty, listener.address()).message, "the consumer of client is retired");
  EXPECT_THAT(heard->events(), ElementsAre("returning", "destroyed"));
}

TEST_F(Retiring, AFreshConsumerForEachOfAThousandConnectionsLeavesNoDescriptor) {
  // The first ones bring what stays with the transport.
  const auto connectAndRetire = [this] {
    Parting& passing = fresh();
    LoopbackSocket remote = peerOf(passing);
    remote.send("x");
    ASSERT_TRUE(heard->waitsFor("data"));
    transport->retire(&passing);
    ASSERT_TRUE(heard->waitsFor("destroyed"));
  };
  connectAndRetire();
  transport->call([] {});
  const auto before = heldNow();
  for (int i = 0; i < 1000 && !HasFatalFailure(); ++i) connectAndRetire();
  transport->call([] {});
  EXPECT_EQ(testing_support::heldInTheEnd(before), before);
}

class RetiringInside : public Retiring, public ::testing::WithParamInterface<std::string> {
 protected:
  LoopbackSocket talkingPeer(Recorder& with) {
    LoopbackSocket remote = peerOf(with);
    try {
      remote.send("x");
      remote.shutdownSending();
    } catch (const std::system_error&) {
      // Ended by the other side already.
    }
    return remote;
  }
};

INSTANTIATE_TEST_SUITE_P(Each, RetiringInside, ::testing::ValuesIn(testing_support::allEvents()));

TEST_P(RetiringInside, AnEventDestroysTheConsumerAfterThatEventReturnedAndTellsNoFurtherOne) {
  Parting& busy = fresh();
  busy.when(GetParam(), [&] {
    transport->retire(&busy);
    EXPECT_EQ(heard->count("destroyed"), 0);
    heard->note("returning");
  });
  LoopbackSocket remote = talkingPeer(busy);
  ASSERT_TRUE(heard->waitsFor("destroyed"));
  EXPECT_TRUE(remote.waitForEnd());
  Events events = eventsUpTo(GetParam());
  events.emplace_back("returning");
  EXPECT_EQ(heard->events(), withEnd(events));
}

TEST_P(RetiringInside, AnEventOnAnotherThreadDestroysTheConsumerAfterThatEventReturned) {
  Parting& busy = fresh();
  Latch entered;
  Latch retired;
  busy.when(GetParam(), [&] {
    entered.open();
    EXPECT_TRUE(retired.waits());
    EXPECT_EQ(heard->count("destroyed"), 0);
    heard->note("returning");
  });
  LoopbackSocket remote = talkingPeer(busy);
  ASSERT_TRUE(entered.waits());
  transport->retire(&busy);
  retired.open();
  ASSERT_TRUE(heard->waitsFor("destroyed"));
  Events events = eventsUpTo(GetParam());
  events.emplace_back("returning");
  EXPECT_EQ(heard->events(), withEnd(events));
}

TEST_P(RetiringInside, AnEventOfAnotherConnectionDestroysAtOnce) {
  Parting& busy = fresh();
  LoopbackSocket remote = peerOf(busy);
  ASSERT_TRUE(heard->waitsFor("onChannelUp"));
  consumer.when(GetParam(), [&] {
    transport->retire(&busy);
    EXPECT_EQ(heard->count("destroyed"), 1);
  });
  LoopbackSocket other = talkingPeer(consumer);
  ASSERT_TRUE(consumer.waitsFor("onConduitInactive"));
  transport->call([] {});
  EXPECT_EQ(heard->events(), withEnd(eventsUpTo("onChannelUp")));
}

TEST_P(RetiringInside, AnEventThenDestroyingTheTransportDestroysTheConsumerAfterThatEventReturned) {
  Parting& busy = fresh();
  busy.when(GetParam(), [&] {
    transport->retire(&busy);
    transport.reset();
    EXPECT_EQ(heard->count("destroyed"), 0);
    heard->note("returning");
  });
  LoopbackSocket remote = talkingPeer(busy);
  ASSERT_TRUE(heard->waitsFor("destroyed"));
  Events events = eventsUpTo(GetParam());
  events.emplace_back("returning");
  EXPECT_EQ(heard->events(), withEnd(events));
}

}  // namespace
}  // namespace tovik
