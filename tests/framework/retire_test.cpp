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
using testing_support::EventLog;
using testing_support::Events;
using testing_support::eventsUpTo;
using testing_support::heldNow;
using testing_support::Latch;
using testing_support::LoopbackSocket;
using testing_support::Recorder;

/// Does something while it is destroyed.
class DestructorProbe final : public Recorder {
 public:
  ~DestructorProbe() override {
    if (onDestruction) onDestruction();
  }
  std::function<void()> onDestruction;
};

class RetiredConsumer : public testing_support::Connections {
 protected:
  /// A consumer of its own, which only retire destroys.
  DestructorProbe& fresh() {
    auto* const made = new DestructorProbe;
    eventLog = made->eventLog();
    return *made;
  }
  Events withEnd(Events events) const {
    events.emplace_back("destroyed");
    return events;
  }

  std::shared_ptr<EventLog> eventLog;
};

TEST_F(RetiredConsumer, MayBeNull) { transport->retire(nullptr); }

TEST_F(RetiredConsumer, IsDestroyedAtOnceOnTheCallingThreadWithoutAConnection) {
  DestructorProbe& idle = fresh();
  std::thread::id thread;
  idle.onDestruction = [&] { thread = std::this_thread::get_id(); };
  transport->retire(&idle);
  EXPECT_THAT(eventLog->events(), ElementsAre("destroyed"));
  EXPECT_EQ(thread, std::this_thread::get_id());
}

TEST_F(RetiredConsumer, IsDestroyedAtOnceAfterItsConnectionHasEnded) {
  DestructorProbe& past = fresh();
  LoopbackSocket remote = peerOf(past);
  remote.close();
  ASSERT_TRUE(eventLog->waitsFor("onConduitInactive"));
  transport->call([] {});
  transport->retire(&past);
  EXPECT_EQ(eventLog->events().back(), "destroyed");
}

TEST_F(RetiredConsumer, EndsItsConnectionWithoutAnEvent) {
  DestructorProbe& busy = fresh();
  Latch destroyed;
  std::thread::id worker;
  std::thread::id thread;
  transport->call([&] { worker = std::this_thread::get_id(); });
  busy.onDestruction = [&] {
    thread = std::this_thread::get_id();
    destroyed.open();
  };
  LoopbackSocket remote = peerOf(busy);
  ASSERT_TRUE(eventLog->waitsFor("onChannelUp"));
  transport->retire(&busy);
  ASSERT_TRUE(destroyed.waits());
  EXPECT_TRUE(eventLog->waitsFor("destroyed"));
  EXPECT_TRUE(remote.waitForEnd());
  EXPECT_EQ(eventLog->events(), withEnd(eventsUpTo("onChannelUp")));
  EXPECT_EQ(thread, worker);
}

TEST_F(RetiredConsumer, IsDestroyedAtOnceOnTheWorkerBetweenEvents) {
  DestructorProbe& busy = fresh();
  LoopbackSocket remote = peerOf(busy);
  ASSERT_TRUE(eventLog->waitsFor("onChannelUp"));
  transport->call([&] {
    transport->retire(&busy);
    eventLog->note("returned");
  });
  Events events = withEnd(eventsUpTo("onChannelUp"));
  events.emplace_back("returned");
  EXPECT_EQ(eventLog->events(), events);
  EXPECT_TRUE(remote.waitForEnd());
}

TEST_F(RetiredConsumer, IsDestroyedWhileItConnects) {
  const testing_support::UnansweredAddress mute;
  DestructorProbe& waiting = fresh();
  ASSERT_TRUE(connect(*transport, waiting, mute.address()));
  ASSERT_TRUE(eventLog->waitsFor("onNewConduit"));
  transport->retire(&waiting);
  EXPECT_TRUE(eventLog->waitsFor("destroyed"));
  EXPECT_THAT(eventLog->events(), ElementsAre("onNewConduit", "destroyed"));
}

TEST_F(RetiredConsumer, GetsNoEventWhenRetiredBeforeItsFirst) {
  DestructorProbe& early = fresh();
  transport->call([&] {
    ASSERT_TRUE(connect(*transport, early, listener.address()));
    transport->retire(&early);
    EXPECT_EQ(eventLog->count("destroyed"), 1);
  });
  EXPECT_THAT(eventLog->events(), ElementsAre("destroyed"));
}

TEST_F(RetiredConsumer, DoesNotAffectOtherConsumers) {
  DestructorProbe& busy = fresh();
  LoopbackSocket other = peer();
  LoopbackSocket remote = peerOf(busy);
  transport->retire(&busy);
  ASSERT_TRUE(eventLog->waitsFor("destroyed"));
  other.send("x");
  EXPECT_TRUE(consumer.waitsForData(1));
}

TEST_F(RetiredConsumer, IsDestroyedByTheEndOfTheTransport) {
  DestructorProbe& busy = fresh();
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
  EXPECT_EQ(eventLog->events().back(), "destroyed");
}

TEST_F(RetiredConsumer, MayUseItsChannelInItsDestructor) {
  DestructorProbe& busy = fresh();
  busy.onDestruction = [&] {
    busy.channel()->send("bye", 3);
    busy.channel()->bringDown();
    busy.channel()->bringDownWhenSent();
  };
  LoopbackSocket remote = peerOf(busy);
  ASSERT_TRUE(eventLog->waitsFor("onChannelUp"));
  transport->retire(&busy);
  EXPECT_TRUE(eventLog->waitsFor("destroyed"));
  EXPECT_TRUE(remote.waitForEnd());
}

TEST_F(RetiredConsumer, MayUseChannelsOfEarlierConnectionsInItsDestructor) {
  DestructorProbe& busy = fresh();
  std::vector<Channel*> channels;
  busy.when("onChannelUp", [&] { channels.push_back(busy.channel()); });
  for (long i = 1; i <= 3; ++i) {
    peerOf(busy).close();
    ASSERT_TRUE(eventLog->waitsFor("onConduitInactive", i));
  }
  busy.onDestruction = [&] {
    for (Channel* const channel : channels) channel->bringDown();
  };
  transport->call([] {});
  transport->retire(&busy);
  EXPECT_EQ(channels.size(), 3U);
  EXPECT_EQ(eventLog->count("destroyed"), 1);
}

TEST_F(RetiredConsumer, CannotConnectInItsDestructor) {
  DestructorProbe& stubborn = fresh();
  LoopbackSocket remote = peerOf(stubborn);
  ASSERT_TRUE(eventLog->waitsFor("onChannelUp"));
  bool refused = false;
  stubborn.onDestruction = [&] { refused = !connect(*transport, stubborn, listener.address()); };
  transport->call([&] { transport->retire(&stubborn); });
  EXPECT_TRUE(refused);
}

TEST_F(RetiredConsumer, IsDestroyedInsideOnNewSocketWithoutConnecting) {
  DestructorProbe& hasty = fresh();
  hasty.socketAct = [&](Socket& /*socket*/) {
    const auto kept = eventLog;
    transport->retire(&hasty);
    kept->note("returning");
  };
  EXPECT_EQ(connect(*transport, hasty, listener.address()).message, "the consumer of client is retired");
  EXPECT_THAT(eventLog->events(), ElementsAre("returning", "destroyed"));
}

TEST_F(RetiredConsumer, LeavesNoDescriptorAfterAThousandConnections) {
  // The first ones bring what stays with the transport.
  const auto connectAndRetire = [this] {
    DestructorProbe& passing = fresh();
    LoopbackSocket remote = peerOf(passing);
    remote.send("x");
    ASSERT_TRUE(eventLog->waitsFor("data"));
    transport->retire(&passing);
    ASSERT_TRUE(eventLog->waitsFor("destroyed"));
  };
  connectAndRetire();
  transport->call([] {});
  const auto before = heldNow();
  for (int i = 0; i < 1000 && !HasFatalFailure(); ++i) connectAndRetire();
  transport->call([] {});
  EXPECT_EQ(testing_support::heldInTheEnd(before), before);
}

class ConsumerRetiredInside : public RetiredConsumer, public ::testing::WithParamInterface<std::string> {
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

INSTANTIATE_TEST_SUITE_P(Each, ConsumerRetiredInside, ::testing::ValuesIn(testing_support::allEvents()));

TEST_P(ConsumerRetiredInside, AnEventIsDestroyedAfterItReturnsAndGetsNoOtherEvent) {
  DestructorProbe& busy = fresh();
  busy.when(GetParam(), [&] {
    transport->retire(&busy);
    EXPECT_EQ(eventLog->count("destroyed"), 0);
    eventLog->note("returning");
  });
  LoopbackSocket remote = talkingPeer(busy);
  ASSERT_TRUE(eventLog->waitsFor("destroyed"));
  EXPECT_TRUE(remote.waitForEnd());
  Events events = eventsUpTo(GetParam());
  events.emplace_back("returning");
  EXPECT_EQ(eventLog->events(), withEnd(events));
}

TEST_P(ConsumerRetiredInside, AnEventByAnotherThreadIsDestroyedAfterItReturns) {
  DestructorProbe& busy = fresh();
  Latch entered;
  Latch retired;
  busy.when(GetParam(), [&] {
    entered.open();
    EXPECT_TRUE(retired.waits());
    EXPECT_EQ(eventLog->count("destroyed"), 0);
    eventLog->note("returning");
  });
  LoopbackSocket remote = talkingPeer(busy);
  ASSERT_TRUE(entered.waits());
  transport->retire(&busy);
  retired.open();
  ASSERT_TRUE(eventLog->waitsFor("destroyed"));
  Events events = eventsUpTo(GetParam());
  events.emplace_back("returning");
  EXPECT_EQ(eventLog->events(), withEnd(events));
}

TEST_P(ConsumerRetiredInside, AnEventOfAnotherConnectionIsDestroyedAtOnce) {
  DestructorProbe& busy = fresh();
  LoopbackSocket remote = peerOf(busy);
  ASSERT_TRUE(eventLog->waitsFor("onChannelUp"));
  consumer.when(GetParam(), [&] {
    transport->retire(&busy);
    EXPECT_EQ(eventLog->count("destroyed"), 1);
  });
  LoopbackSocket other = talkingPeer(consumer);
  ASSERT_TRUE(consumer.waitsFor("onConduitInactive"));
  transport->call([] {});
  EXPECT_EQ(eventLog->events(), withEnd(eventsUpTo("onChannelUp")));
}

TEST_P(ConsumerRetiredInside, AnEventThatDestroysTheTransportIsDestroyedAfterItReturns) {
  DestructorProbe& busy = fresh();
  busy.when(GetParam(), [&] {
    transport->retire(&busy);
    transport.reset();
    EXPECT_EQ(eventLog->count("destroyed"), 0);
    eventLog->note("returning");
  });
  LoopbackSocket remote = talkingPeer(busy);
  ASSERT_TRUE(eventLog->waitsFor("destroyed"));
  Events events = eventsUpTo(GetParam());
  events.emplace_back("returning");
  EXPECT_EQ(eventLog->events(), withEnd(events));
}

}  // namespace
}  // namespace tovik
