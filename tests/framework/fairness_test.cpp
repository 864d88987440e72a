#include <gmock/gmock.h>
#include <tovik/channel.h>
#include <tovik/worker_thread.h>

#include <chrono>
#include <memory>

#include "connections.h"
#include "placed_transport.h"
#include "support/latch.h"

namespace tovik {
namespace {

using testing_support::EventLog;
using testing_support::Events;
using testing_support::Latch;
using testing_support::LoopbackSocket;
using testing_support::PlacedTransport;
using testing_support::Recorder;

class Fairness : public testing_support::Connections {
 protected:
  /// How long a connection receives in one turn.
  static constexpr std::chrono::milliseconds share{5};

  const std::shared_ptr<EventLog> order = std::make_shared<EventLog>();
  Latch sent;
  LoopbackSocket toSlow;
  LoopbackSocket toOther;
  PlacedTransport placed{dispatcher.get()};
};

TEST_F(Fairness, LetsAnotherConnectionBeServedBetweenTwoUnitsOfASlowHandler) {
  Recorder& other = another();
  other.when("data", [this] { order->note("other"); });
  toOther = peerOf(placed.transport, other);
  ASSERT_TRUE(other.waitsFor("onChannelUp"));
  consumer.when("onChannelUp", [this] { EXPECT_TRUE(sent.waits()); });
  consumer.when("data", [this] {
    order->note("slow");
    // There is always more to receive, and the other connection has data from the first unit on.
    if (order->count("slow") == 1) toOther.send("x");
    if (order->count("slow") <= 10) toSlow.send("y");
    clock.advance(share);
  });
  toSlow = peerOf(placed.transport, consumer);
  // With an urgent byte in the stream a short receive does not end the turn: the conduit receives again.
  toSlow.send("y");
  toSlow.sendUrgent('!');
  toSlow.send("y");
  sent.open();
  ASSERT_TRUE(order->waitsFor("slow", 10));
  ASSERT_TRUE(order->waitsFor("other"));
  // A connection that has used up its share is served once more in the same turn, before the worker polls again.
  const Events events = order->events();
  EXPECT_THAT(Events(events.begin(), events.begin() + 3), ::testing::Contains("other"));
}

}  // namespace
}  // namespace tovik
