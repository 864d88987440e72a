#include <gmock/gmock.h>
#include <tovik/channel.h>

#include <stdexcept>
#include <string>

#include "connections.h"
#include "support/latch.h"

namespace tovik {
namespace {

using ::testing::ElementsAre;
using testing_support::Events;
using testing_support::eventsUpTo;
using testing_support::isWholeLife;
using testing_support::LoopbackSocket;
using testing_support::Recorder;

/// The parameter names the event that an exception leaves.
class ThrowingEvent : public testing_support::Connections, public ::testing::WithParamInterface<std::string> {
 protected:
  void throwInTheEvent() {
    consumer.when(GetParam(), [] { throw std::runtime_error("boom"); });
    LoopbackSocket remote = peer();
    try {
      remote.send("x");
      remote.shutdownSending();
    } catch (const std::system_error&) {
      // Ended by the other side already.
    }
    EXPECT_TRUE(remote.waitForEnd());
    EXPECT_TRUE(log.waitFor("Tovik: client: exception in a handler: boom"));
    // The other connections end in separate turns.
    for (int turn = 0; turn < 3; ++turn) transport->call([] {});
  }
};

INSTANTIATE_TEST_SUITE_P(Each, ThrowingEvent, ::testing::ValuesIn(testing_support::allEvents()));

TEST_P(ThrowingEvent, IsLoggedAtWarning) {
  throwInTheEvent();
  EXPECT_THAT(log.texts(), ElementsAre("Tovik: client: exception in a handler: boom"));
  EXPECT_EQ(log.entries()[0].level, 30);
}

// Nothing came any more: a session whose client threw was never reported as ended.
TEST_P(ThrowingEvent, IsFollowedByTheEndOnly) {
  throwInTheEvent();
  Events expected = eventsUpTo(GetParam());
  if (GetParam() == "onChannelUp" || GetParam() == "data") expected.emplace_back("onChannelDown failed");
  if (GetParam() != "onConduitInactive") expected.emplace_back("onConduitInactive");
  EXPECT_EQ(consumer.events(), expected);
}

TEST_P(ThrowingEvent, EndsTheOtherConnectionsOfItsTransport) {
  Recorder& other = another();
  LoopbackSocket otherPeer = peerOf(other);
  ASSERT_TRUE(other.waitsFor("onChannelUp"));
  throwInTheEvent();
  EXPECT_TRUE(otherPeer.waitForEnd());
  ASSERT_TRUE(other.waitsFor("onConduitInactive"));
  EXPECT_EQ(other.eventLog()->count("onChannelDown failed"), 1);
  EXPECT_TRUE(isWholeLife(other.events()));
}

TEST_P(ThrowingEvent, DoesNotAffectOtherTransportsOfItsWorker) {
  const auto neighbour = transportWith();
  Recorder& other = another();
  LoopbackSocket otherPeer = peerOf(*neighbour, other);
  ASSERT_TRUE(other.waitsFor("onChannelUp"));
  throwInTheEvent();
  otherPeer.send("hello");
  EXPECT_TRUE(other.waitsForData(5));
  other.channel()->send("hi", 2);
  EXPECT_EQ(otherPeer.receive(2), "hi");
}

TEST_P(ThrowingEvent, LeavesTheTransportUsable) {
  throwInTheEvent();
  Recorder& next = another();
  LoopbackSocket nextPeer = peerOf(next);
  nextPeer.send("x");
  EXPECT_TRUE(next.waitsForData(1));
}

TEST_P(ThrowingEvent, StillDestroysItsRetiredConsumer) {
  auto* const fresh = new Recorder;
  const auto eventLog = fresh->eventLog();
  fresh->when(GetParam(), [&, fresh] {
    transport->retire(fresh);
    throw std::runtime_error("boom");
  });
  LoopbackSocket remote = peerOf(*fresh);
  try {
    remote.send("x");
    remote.shutdownSending();
  } catch (const std::system_error&) {
    // Ended by the other side already.
  }
  EXPECT_TRUE(eventLog->waitsFor("destroyed"));
}

TEST_P(ThrowingEvent, IsLoggedWhenItHasDestroyedTheTransport) {
  testing_support::Latch destroyed;
  consumer.when(GetParam(), [&] {
    transport.reset();
    destroyed.open();
    throw std::runtime_error("boom");
  });
  LoopbackSocket remote = peer();
  try {
    remote.send("x");
    remote.shutdownSending();
  } catch (const std::system_error&) {
    // Ended by the other side already.
  }
  ASSERT_TRUE(destroyed.waits());
  EXPECT_TRUE(log.waitFor("Tovik: client: exception in a handler: boom"));
}

class UnknownException : public testing_support::Connections {};

TEST_F(UnknownException, IsLoggedToo) {
  consumer.when("onChannelUp", [] { throw 7; });
  LoopbackSocket remote = peer();
  EXPECT_TRUE(remote.waitForEnd());
  EXPECT_TRUE(log.waitFor("Tovik: client: exception in a handler"));
}

TEST_F(UnknownException, IsTheEndCauseOfTheChannel) {
  consumer.when("data", [] { throw 7; });
  EndCause cause = EndCause::other;
  consumer.when("onChannelDown", [&] { cause = consumer.channel()->endCause(); });
  LoopbackSocket remote = peer();
  remote.send("x");
  ASSERT_TRUE(consumer.waitsFor("onConduitInactive"));
  EXPECT_EQ(cause, EndCause::exception);
}

TEST_F(UnknownException, AfterBringDownStillEndsTheConnection) {
  consumer.when("onChannelUp", [this] {
    consumer.channel()->bringDown();
    throw 7;
  });
  LoopbackSocket remote = peer();
  EXPECT_TRUE(remote.waitForEnd());
  transport->call([] {});
  EXPECT_EQ(consumer.events(), testing_support::eventsEndedIn("onChannelUp"));
}

}  // namespace
}  // namespace tovik
