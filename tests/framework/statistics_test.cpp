#include <gtest/gtest.h>
#include <tovik/channel.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "connections.h"
#include "unanswered_address.h"

namespace tovik {
namespace {

using testing_support::LoopbackSocket;

class Statistics : public testing_support::Connections {
 protected:
  ConnectionStatistics figures() const { return transport->statistics(); }
};

TEST_F(Statistics, AreZeroBeforeTheFirstConnection) {
  const ConnectionStatistics none = figures();
  EXPECT_EQ(
      none.started + none.up + none.ended_by_peer + none.ended_here + none.failed + none.bytes_in + none.bytes_out, 0U);
}

TEST_F(Statistics, CountAConnectionAndItsBytesUntilThePeerEndsIt) {
  LoopbackSocket connection = peerWhenUp();
  connection.send("hello");
  ASSERT_TRUE(consumer.waitsForData(5));
  EXPECT_EQ(figures().started, 1U);
  EXPECT_EQ(figures().up, 1U);
  EXPECT_EQ(figures().open(), 1U);
  EXPECT_EQ(figures().bytes_in, 5U);
  EXPECT_EQ(figures().bytes_out, 0U);
  connection.close();
  ASSERT_TRUE(consumer.waitsFor("onConduitInactive"));
  EXPECT_EQ(figures().ended_by_peer, 1U);
  EXPECT_EQ(figures().ended_here + figures().failed, 0U);
  EXPECT_EQ(figures().open(), 0U);
}

TEST_F(Statistics, DistinguishWhatThisSideEndedFromWhatFailed) {
  LoopbackSocket kept = peerWhenUp();
  consumer.channel()->bringDown();
  ASSERT_TRUE(consumer.waitsFor("onConduitInactive"));
  EXPECT_EQ(figures().ended_here, 1U);
  auto& second = another();
  LoopbackSocket broken = peerOf(second);
  ASSERT_TRUE(second.waitsFor("onChannelUp"));
  broken.reset();
  ASSERT_TRUE(second.waitsFor("onConduitInactive"));
  EXPECT_EQ(figures().started, 2U);
  EXPECT_EQ(figures().failed, 1U);
  EXPECT_EQ(figures().ended_here, 1U);
  EXPECT_EQ(figures().ended_by_peer, 0U);
}

TEST_F(Statistics, CountAConnectionThatNeverComesUp) {
  const testing_support::UnansweredAddress mute;
  ASSERT_TRUE(connect(*transport, consumer, mute.address(), 1));
  clock.advance(std::chrono::milliseconds(1), *transport);
  ASSERT_TRUE(consumer.waitsFor("onConduitInactive"));
  EXPECT_EQ(figures().started, 1U);
  EXPECT_EQ(figures().up, 0U);
  EXPECT_EQ(figures().ended_here, 1U);
}

TEST_F(Statistics, CountAConnectionThatEndsBeforeItsFirstTurn) {
  transport->call([&] {
    EXPECT_TRUE(connect(*transport, consumer, listener.address()));
    EXPECT_EQ(figures().started, 0U);
    EXPECT_TRUE(transport->deactivateAllConduits(-1));
    EXPECT_EQ(figures().started, 1U);
    EXPECT_EQ(figures().ended_here, 1U);
  });
}

TEST_F(Statistics, DoNotCountAConnectionThatIsRefusedAtOnce) {
  EXPECT_FALSE(connect(*transport, consumer, testing_support::refusingAddress()));
  transport->call([] {});
  EXPECT_EQ(figures().started + figures().failed, 0U);
}

TEST_F(Statistics, CountWhatTheWorkerSendsAndWhatAnyOtherThreadSends) {
  consumer.when("onChannelUp", [this] { consumer.channel()->send("abc", 3); });
  LoopbackSocket connection = peerWhenUp();
  EXPECT_EQ(figures().bytes_out, 3U);
  consumer.channel()->send("defgh", 5);
  EXPECT_EQ(figures().bytes_out, 8U);
  EXPECT_EQ(connection.receive(8), "abcdefgh");
}

TEST_F(Statistics, CountWhatTheKernelTakesOnlyLaterAndMayBeReadMeanwhile) {
  const std::string large(16 << 20, 'x');
  LoopbackSocket connection = peerWhenUp();
  std::atomic<bool> done = false;
  bool everMore = false;
  std::thread reader([&] {
    while (!done) everMore = everMore || figures().bytes_out > large.size();
  });
  consumer.channel()->send(large.data(), large.size());
  EXPECT_EQ(connection.receive(large.size()).size(), large.size());
  consumer.channel()->bringDown();
  EXPECT_TRUE(consumer.waitsFor("onConduitInactive"));
  done = true;
  reader.join();
  EXPECT_FALSE(everMore);
  EXPECT_EQ(figures().bytes_out, large.size());
}

TEST_F(Statistics, NeverShowAConnectionThatIsUpOrHasEndedButHasNotStarted) {
  constexpr unsigned many = 200;
  std::atomic<bool> done = false;
  bool everWrong = false;
  std::thread reader([&] {
    while (!done) {
      const ConnectionStatistics now = figures();
      everWrong = everWrong || now.up > now.started || now.open() > many;
    }
  });
  for (unsigned i = 1; i <= many; ++i) {
    peer().close();
    EXPECT_TRUE(consumer.waitsFor("onConduitInactive", i));
  }
  done = true;
  reader.join();
  EXPECT_FALSE(everWrong);
  EXPECT_EQ(figures().started, many);
  EXPECT_EQ(figures().ended_by_peer + figures().failed, many);
}

}  // namespace
}  // namespace tovik
