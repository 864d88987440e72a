#include <gmock/gmock.h>
#include <tovik/channel.h>
#include <tovik/conduit.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "connections.h"
#include "support/descriptor_limit.h"
#include "support/latch.h"
#include "unanswered_address.h"

namespace tovik {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using ::testing::IsEmpty;
using testing_support::Events;
using testing_support::Latch;
using testing_support::LoopbackSocket;
using testing_support::Recorder;
using testing_support::UnansweredAddress;

const Events upAndDownBy(const std::string& side) {
  return {"onNewConduit", "onConduitActive",       "getDataAggregator", "onNewChannel",
          "onChannelUp",  "onChannelDown " + side, "onConduitInactive"};
}

Address localHost(const std::string& host, unsigned short port = 0) {
  Address address(port);
  EXPECT_TRUE(address.set_host(host));
  return address;
}

class Connection : public testing_support::Connections {
 protected:
  Result connectFrom(const Address& local) {
    Client client(*transport, Protocol::tcp, consumer, "client", false, nullptr);
    return client.setup_and_connect(listener.address(), local, -1);
  }
  void expectEvents(const Events& events) {
    EXPECT_TRUE(consumer.waitsFor("onConduitInactive"));
    EXPECT_EQ(consumer.events(), events);
  }
};

TEST_F(Connection, ThatThePeerClosesHasEveryEventOnceAndInOrder) {
  LoopbackSocket remote = peerWhenUp();
  remote.close();
  expectEvents(upAndDownBy("peer"));
}

TEST_F(Connection, ThatThePeerClosesAtOnceHasEveryEventAndItsData) {
  LoopbackSocket remote = peer();
  remote.send("421 full\r\n");
  remote.close();
  EXPECT_TRUE(consumer.waitsFor("onConduitInactive"));
  EXPECT_EQ(consumer.data(), "421 full\r\n");
  EXPECT_EQ(consumer.events(), (Events{"onNewConduit", "onConduitActive", "getDataAggregator", "onNewChannel",
                                       "onChannelUp", "data", "onChannelDown peer", "onConduitInactive"}));
}

TEST_F(Connection, EndsWhenThePeerSendsNoMore) {
  LoopbackSocket remote = peerWhenUp();
  remote.shutdownSending();
  expectEvents(upAndDownBy("peer"));
  EXPECT_TRUE(remote.waitForEnd());
}

TEST_F(Connection, ThatThePeerResetsHasFailed) {
  LoopbackSocket remote = peerWhenUp();
  remote.reset();
  expectEvents(upAndDownBy("failed"));
}

TEST_F(Connection, BroughtDownInsideAnEventEndsAfterThatEventReturned) {
  consumer.when("onChannelUp", [this] {
    consumer.channel()->bringDown();
    consumer.eventLog()->note("returning");
  });
  LoopbackSocket remote = peer();
  expectEvents({"onNewConduit", "onConduitActive", "getDataAggregator", "onNewChannel", "onChannelUp", "returning",
                "onChannelDown local", "onConduitInactive"});
  EXPECT_TRUE(remote.waitForEnd());
}

class BroughtDown : public Connection, public ::testing::WithParamInterface<std::string> {};

TEST_P(BroughtDown, BeforeItDeliversHasEveryEventButData) {
  Latch sent;
  consumer.when("onNewConduit", [&] { EXPECT_TRUE(sent.waits()); });
  consumer.when(GetParam(), [this] {
    consumer.channel()->bringDown();
    consumer.channel()->bringDown();
  });
  LoopbackSocket remote = peer();
  remote.send("unwanted");
  sent.open();
  expectEvents(upAndDownBy("local"));
}

INSTANTIATE_TEST_SUITE_P(Inside, BroughtDown, ::testing::Values("getDataAggregator", "onNewChannel", "onChannelUp"));

TEST_F(Connection, BroughtDownByAnotherThreadEnds) {
  LoopbackSocket remote = peerWhenUp();
  consumer.channel()->bringDown();
  expectEvents(upAndDownBy("local"));
  EXPECT_TRUE(remote.waitForEnd());
}

TEST_F(Connection, BroughtDownAgainAndAgainEndsOnce) {
  const auto down = [this] { consumer.channel()->bringDown(); };
  consumer.when("onChannelDown", down).when("onConduitInactive", down);
  LoopbackSocket remote = peerWhenUp();
  down();
  down();
  EXPECT_TRUE(consumer.waitsFor("onConduitInactive"));
  down();
  letTheWorkerPass();
  expectEvents(upAndDownBy("local"));
}

TEST_F(Connection, BroughtDownBySeveralThreadsEndsOnce) {
  LoopbackSocket remote = peerWhenUp();
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([this] {
      for (int round = 0; round < 50; ++round) consumer.channel()->bringDown();
    });
  for (auto& thread : threads) thread.join();
  letTheWorkerPass();
  expectEvents(upAndDownBy("local"));
}

TEST_F(Connection, ThatIsRefusedAtOnceIsAFailureWithoutAnEvent) {
  const Address nobody = testing_support::refusingAddress();
  const Result result = connect(*transport, consumer, nobody);
  EXPECT_FALSE(result);
  EXPECT_EQ(result.message, "connect to " + nobody.printInet() + ": Connection refused");
  letTheWorkerPass();
  EXPECT_THAT(consumer.events(), IsEmpty());
}

TEST_F(Connection, FromAnAddressOfAnotherHostIsAFailureWithoutAnEvent) {
  for (const unsigned short port : std::vector<unsigned short>{0, 40000}) {
    const Result result = connectFrom(localHost("192.0.2.1", port));
    EXPECT_FALSE(result);
    EXPECT_EQ(result.message, "bind to 192.0.2.1:" + std::to_string(port) + ": Cannot assign requested address");
  }
  letTheWorkerPass();
  EXPECT_THAT(consumer.events(), IsEmpty());
}

TEST_F(Connection, FromALocalAddressUsesIt) {
  Address local(0);
  consumer.when("onConduitActive", [&] { local = consumer.conduit()->localAddress(); });
  ASSERT_TRUE(connectFrom(localHost("127.0.0.2")));
  LoopbackSocket remote = listener.accept();
  ASSERT_TRUE(consumer.waitsFor("onChannelUp"));
  EXPECT_THAT(local.printInet(), ::testing::StartsWith("127.0.0.2:"));
  EXPECT_NE(local.port(), 0);
}

TEST_F(Connection, FromALocalPortUsesIt) {
  // The port of a listener that has gone is free.
  const unsigned short port = testing_support::refusingAddress().port();
  Address local(0);
  consumer.when("onConduitActive", [&] { local = consumer.conduit()->localAddress(); });
  ASSERT_TRUE(connectFrom(localHost("127.0.0.1", port)));
  LoopbackSocket remote = listener.accept();
  ASSERT_TRUE(consumer.waitsFor("onChannelUp"));
  EXPECT_EQ(local, localHost("127.0.0.1", port));
  // The peer ends it first, so that this side's port is free at once.
  remote.close();
  EXPECT_TRUE(consumer.waitsFor("onConduitInactive"));
}

TEST_F(Connection, HasItsNameAndItsAddresses) {
  std::string name;
  Address remoteAddress(0);
  consumer.when("onNewConduit", [&] { name = consumer.conduit()->name(); });
  consumer.when("onChannelUp", [&] { remoteAddress = consumer.conduit()->remoteAddress(); });
  LoopbackSocket remote = peerWhenUp();
  EXPECT_EQ(name, "client");
  EXPECT_EQ(remoteAddress, listener.address());
}

TEST_F(Connection, WithoutADescriptorIsAFailureWithoutAnEvent) {
  if (!testing_support::descriptorsMayRunOut()) GTEST_SKIP() << "the sanitizer needs descriptors";
  {
    const testing_support::NoMoreDescriptors none;
    const Result result = connect(*transport, consumer, listener.address());
    EXPECT_FALSE(result);
    EXPECT_EQ(result.message, "socket: Too many open files");
  }
  letTheWorkerPass();
  EXPECT_THAT(consumer.events(), IsEmpty());
}

TEST_F(Connection, OfAnUnknownProtocolIsAFailure) {
  Client client(*transport, static_cast<Protocol>(9), consumer, "client", false, nullptr);
  const Result result = client.setup_and_connect(listener.address(), Address(0), -1);
  EXPECT_FALSE(result);
  EXPECT_EQ(result.message, "unknown protocol 9");
}

TEST_F(Connection, OfADestroyedTransportIsAFailureWithoutAnEvent) {
  Client client(*transport, Protocol::tcp, consumer, "client", false, nullptr);
  transport.reset();
  const Result result = client.setup_and_connect(listener.address(), Address(0), -1);
  EXPECT_FALSE(result);
  EXPECT_EQ(result.message, "no connection for client: the consumer is retired or the transport is closed");
  EXPECT_THAT(consumer.events(), IsEmpty());
}

TEST_F(Connection, WhoseTransportIsDestroyedInOnNewSocketIsAFailureWithoutAnEvent) {
  consumer.socketAct = [this](Socket& /*socket*/) { transport.reset(); };
  EXPECT_EQ(connect(*transport, consumer, listener.address()).message, "transport transport is closed");
  EXPECT_THAT(consumer.events(), IsEmpty());
}

TEST_F(Connection, ThatNobodyAnswersEndsAfterItsLimit) {
  const UnansweredAddress mute;
  ASSERT_TRUE(connect(*transport, consumer, mute.address(), 20));
  clock.advance(milliseconds(20) - clock.tick, *transport);
  EXPECT_EQ(consumer.events(), Events{"onNewConduit"});
  clock.advance(clock.tick, *transport);
  expectEvents({"onNewConduit", "onConduitInactive"});
  EXPECT_TRUE(log.waitFor("Tovik: client: not connected within the time limit"));
}

TEST_F(Connection, ThatNobodyAnswersEndsAtOnceWithALimitOfNothing) {
  const UnansweredAddress mute;
  ASSERT_TRUE(connect(*transport, consumer, mute.address(), 0));
  expectEvents({"onNewConduit", "onConduitInactive"});
}

TEST_F(Connection, ThatIsMadeInTimeOutlivesItsLimit) {
  ASSERT_TRUE(connect(*transport, consumer, listener.address(), 1000));
  LoopbackSocket remote = listener.accept();
  ASSERT_TRUE(consumer.waitsFor("onChannelUp"));
  clock.advance(milliseconds(1000), *transport);
  EXPECT_EQ(consumer.events().back(), "onChannelUp");
}

TEST_F(Connection, ThatIsRefusedLaterIsReportedByEvents) {
  auto mute = std::make_unique<UnansweredAddress>();
  ASSERT_TRUE(connect(*transport, consumer, mute->address()));
  ASSERT_TRUE(consumer.waitsFor("onNewConduit"));
  // The kernel tries again after a second, and is refused.
  mute.reset();
  expectEvents({"onNewConduit", "onConduitInactive"});
  EXPECT_TRUE(log.waitFor("Tovik: client: connect: Connection refused"));
}

TEST_F(Connection, ThatIsStillBeingMadeEndsWithTheTransport) {
  const UnansweredAddress mute;
  ASSERT_TRUE(connect(*transport, consumer, mute.address()));
  transport.reset();
  expectEvents({"onNewConduit", "onConduitInactive"});
}

TEST_F(Connection, ThatIsStillBeingMadeIsDeactivated) {
  const UnansweredAddress mute;
  ASSERT_TRUE(connect(*transport, consumer, mute.address()));
  EXPECT_TRUE(transport->deactivateAllConduits(-1));
  EXPECT_EQ(consumer.events(), (Events{"onNewConduit", "onConduitInactive"}));
}

TEST_F(Connection, OfAConsumerWithoutAnAggregatorEnds) {
  consumer.givesNoAggregator(false);
  LoopbackSocket remote = peer();
  expectEvents({"onNewConduit", "onConduitActive", "getDataAggregator", "onConduitInactive"});
  EXPECT_TRUE(remote.waitForEnd());
}

TEST_F(Connection, OfAConsumerThatReturnsTrueWithoutAnAggregatorEnds) {
  consumer.givesNoAggregator(true);
  LoopbackSocket remote = peer();
  expectEvents({"onNewConduit", "onConduitActive", "getDataAggregator", "onConduitInactive"});
}

class FirstByteLimit : public Connection {
 protected:
  FirstByteLimit() {
    Traits traits;
    traits.first_byte_limit_s = 1;
    transport = transportWith(traits);
  }
  static constexpr seconds limit{1};
};

TEST_F(FirstByteLimit, EndsASilentConnectionAndKeepsOneThatDeliveredAByte) {
  Recorder& mute = another();
  LoopbackSocket talking = peer();
  talking.send("2");
  ASSERT_TRUE(consumer.waitsForData(1));
  LoopbackSocket silent = peerOf(mute);
  ASSERT_TRUE(mute.waitsFor("onChannelUp"));
  clock.advance(limit - clock.tick, *transport);
  EXPECT_EQ(mute.events().back(), "onChannelUp");
  clock.advance(clock.tick, *transport);
  EXPECT_EQ(mute.events(), upAndDownBy("local"));
  EXPECT_TRUE(silent.waitForEnd());
  EXPECT_TRUE(log.waitFor("Tovik: client: nothing received within the time limit"));
  talking.send("20");
  EXPECT_TRUE(consumer.waitsForData(3));
}

TEST_F(FirstByteLimit, CoversConnecting) {
  const UnansweredAddress mute;
  ASSERT_TRUE(connect(*transport, consumer, mute.address()));
  clock.advance(limit - clock.tick, *transport);
  EXPECT_EQ(consumer.events(), Events{"onNewConduit"});
  clock.advance(clock.tick, *transport);
  expectEvents({"onNewConduit", "onConduitInactive"});
}

TEST_F(FirstByteLimit, YieldsToAShorterConnectLimit) {
  const UnansweredAddress mute;
  Recorder& patient = another();
  ASSERT_TRUE(connect(*transport, patient, mute.address(), 100'000));
  ASSERT_TRUE(connect(*transport, consumer, mute.address(), 10));
  clock.advance(milliseconds(10) - clock.tick, *transport);
  EXPECT_EQ(consumer.events(), Events{"onNewConduit"});
  clock.advance(clock.tick, *transport);
  expectEvents({"onNewConduit", "onConduitInactive"});
  EXPECT_EQ(patient.eventLog()->count("onConduitInactive"), 0);
}

TEST_F(Connection, IsServedAmongMoreConnectionsThanOneTurnHandles) {
  constexpr unsigned count = 150;
  std::vector<LoopbackSocket> remotes;
  for (unsigned i = 0; i < count; ++i) remotes.push_back(peerOf(another()));
  for (auto& recorder : others) ASSERT_TRUE(recorder.waitsFor("onChannelUp"));
  transport->call([&] {
    for (unsigned i = 0; i < count; ++i) {
      remotes[i].send(std::to_string(i));
      remotes[i].close();
    }
  });
  for (unsigned i = 0; i < count; ++i) {
    ASSERT_TRUE(others[i].waitsFor("onConduitInactive"));
    EXPECT_EQ(others[i].data(), std::to_string(i));
  }
}

TEST_F(Connection, IsServedWhileTheDataOfAnotherNeverEnds) {
  Recorder& flooded = another();
  std::atomic<bool> enough = false;
  std::atomic<bool> flooding = false;
  LoopbackSocket flood = peerOf(flooded);
  std::thread sender([&] {
    const std::string piece(1UL << 20U, 'x');
    while (!enough) {
      flood.send(piece);
      flooding = true;
    }
  });
  while (!flooding) std::this_thread::yield();
  LoopbackSocket remote = peer();
  remote.send("hello");
  EXPECT_TRUE(consumer.waitsForData(5));
  enough = true;
  sender.join();
}

}  // namespace
}  // namespace tovik
