#include <gmock/gmock.h>
#include <tovik/channel.h>
#include <tovik/worker_thread.h>

#include <optional>
#include <string>

#include "connections.h"
#include "placed_transport.h"
#include "server_fixture.h"
#include "support/sample_bytes.h"

namespace tovik {
namespace {

using testing_support::Events;
using testing_support::HeldWorker;
using testing_support::LoopbackSocket;
using testing_support::PlacedTransport;

/// A connection that is not up at once: the listener's queue is full until `accept` makes room in it. The kernel
/// repeats its request after a second.
class LateConnection : public testing_support::Connections {
 protected:
  void begin(int limit_ms = -1) {
    ASSERT_TRUE(connect(placed.transport, consumer, full.address(), limit_ms));
    ASSERT_TRUE(consumer.waitsFor("onNewConduit"));
    // The turn of that event is over: no other event followed in it.
    placed.transport.call([] {});
    ASSERT_EQ(consumer.events(), Events{"onNewConduit"});
  }
  LoopbackSocket accept() {
    const LoopbackSocket before = full.accept();
    return full.accept();
  }

  LoopbackSocket full = LoopbackSocket::listening(testing_support::loopback(), 0);
  const LoopbackSocket filling = LoopbackSocket::connected(full.address());
  PlacedTransport placed{dispatcher.get()};
};

TEST_F(LateConnection, HasEveryEventOnceAndInOrder) {
  begin();
  LoopbackSocket remote = accept();
  ASSERT_TRUE(consumer.waitsFor("onChannelUp"));
  remote.send("x");
  ASSERT_TRUE(consumer.waitsForData(1));
  remote.close();
  ASSERT_TRUE(consumer.waitsFor("onConduitInactive"));
  EXPECT_EQ(consumer.events(), (Events{"onNewConduit", "onConduitActive", "getDataAggregator", "onNewChannel",
                                       "onChannelUp", "data", "onChannelDown peer", "onConduitInactive"}));
}

// The worker sees the connection come up, its data and its end in one event of the descriptor.
TEST_F(LateConnection, ThatEndsBeforeTheWorkerLooksHasEveryEventAndItsData) {
  begin();
  {
    const HeldWorker held(placed.transport);
    LoopbackSocket remote = accept();
    remote.send("421 full\r\n");
    remote.close();
  }
  ASSERT_TRUE(consumer.waitsFor("onConduitInactive"));
  EXPECT_EQ(consumer.data(), "421 full\r\n");
  EXPECT_EQ(consumer.events(), (Events{"onNewConduit", "onConduitActive", "getDataAggregator", "onNewChannel",
                                       "onChannelUp", "data", "onChannelDown peer", "onConduitInactive"}));
}

TEST_F(LateConnection, ThatFailsBeforeTheWorkerLooksIsNotReportedAsUp) {
  begin();
  {
    const HeldWorker held(placed.transport);
    accept().reset();
  }
  ASSERT_TRUE(consumer.waitsFor("onConduitInactive"));
  EXPECT_EQ(consumer.events(), (Events{"onNewConduit", "onConduitInactive"}));
  EXPECT_TRUE(log.waitFor("Tovik: client: connect: Connection reset by peer"));
}

TEST_F(LateConnection, HasNoLimitOnceItIsUp) {
  const auto nextDeadline = [this] {
    std::optional<TimerQueue::Time> next;
    placed.transport.call([&] { next = placed.worker().timers().next(); });
    return next;
  };
  begin(30'000);
  EXPECT_NE(nextDeadline(), std::nullopt);
  LoopbackSocket remote = accept();
  ASSERT_TRUE(consumer.waitsFor("onChannelUp"));
  EXPECT_EQ(nextDeadline(), std::nullopt);
}

TEST_F(LateConnection, SendsAllEvenIfThePeerReadsLate) {
  begin();
  LoopbackSocket remote = accept();
  ASSERT_TRUE(consumer.waitsFor("onChannelUp"));
  const std::string bytes = testing_support::sampleBytes(8UL << 20U);
  consumer.channel()->send(bytes.data(), bytes.size());
  EXPECT_TRUE(remote.receive(bytes.size()) == bytes);
}

}  // namespace
}  // namespace tovik
