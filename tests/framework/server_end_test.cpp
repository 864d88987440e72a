#include <gmock/gmock.h>

#include <atomic>
#include <memory>
#include <system_error>
#include <thread>
#include <vector>

#include "server_fixture.h"
#include "support/descriptor_limit.h"

// How a server stops, whichever ends first: the server, its transport, its worker, or its peers.

namespace tovik {
namespace {

using ::testing::IsEmpty;
using ::testing::SizeIs;
using testing_support::HeldWorker;
using testing_support::isWholeLife;
using testing_support::Latch;
using testing_support::loopback;
using testing_support::LoopbackSocket;
using testing_support::Recorder;
using testing_support::ServerTest;

TEST_F(ServerTest, StopsAtOnceAndTwice) {
  listen();
  const Address address = server->address();
  EXPECT_TRUE(server->stopListening(-1));
  EXPECT_FALSE(server->is_running());
  EXPECT_TRUE(server->stopListening(-1));
  EXPECT_THROW(LoopbackSocket::connected(address), std::system_error);
}

TEST_F(ServerTest, NeedNotListenToStop) { EXPECT_TRUE(server->stopListening(-1)); }

TEST_F(ServerTest, ListensAgainAfterAStopAndOnTheSamePort) {
  listen();
  const Address address = server->address();
  ASSERT_TRUE(server->stopListening(-1));
  ASSERT_TRUE(server->startListening(address));
  LoopbackSocket before = peer();
  ASSERT_TRUE(generator.consumer(1).waitsFor("onChannelUp"));
  ASSERT_TRUE(server->stopListening(-1));
  ASSERT_TRUE(server->startListening(address));
  LoopbackSocket remote = peer();
  EXPECT_TRUE(generator.consumer(2).waitsFor("onChannelUp"));
}

TEST_F(ServerTest, StopsInsideAHandlerOnTheWorker) {
  Latch stopped;
  generator.prepare = [&](Recorder& recorder) {
    recorder.when("onChannelUp", [&] {
      EXPECT_TRUE(server->stopListening(-1));
      stopped.open();
    });
  };
  listen();
  LoopbackSocket remote = peer();
  ASSERT_TRUE(stopped.waits());
  EXPECT_FALSE(server->is_running());
  remote.send("x");
  EXPECT_TRUE(generator.consumer(1).waitsForData(1));
}

TEST_F(ServerTest, StopsInsideTheGeneratorAndRefusesThatConnection) {
  const testing_support::LogCapture all;
  Latch stopped;
  generator.act = [&] {
    EXPECT_TRUE(server->stopListening(-1));
    stopped.open();
  };
  listen();
  LoopbackSocket remote = peer();
  EXPECT_TRUE(stopped.waits());
  EXPECT_TRUE(remote.waitForEnd());
  EXPECT_THAT(generator.consumer(1).events(), IsEmpty());
  EXPECT_TRUE(all.waitFor("Tovik: server: no longer listening"));
}

TEST_F(ServerTest, RefusesAConnectionWhoseConsumerIsRetiredInOnNewSocket) {
  class GivesRetired final : public ConsumerGenerator {
   public:
    explicit GivesRetired(Transport& transport) : transport_(transport) {}
    Consumer* getConsumer() override {
      auto* const fresh = new Recorder;
      fresh->socketAct = [this, fresh](Socket& /*socket*/) { transport_.retire(fresh); };
      return fresh;
    }

   private:
    Transport& transport_;
  } retiring(*transport);
  const testing_support::LogCapture all;
  server = std::make_unique<Server>(*transport, Protocol::tcp, &retiring, "server", false, nullptr, nullptr);
  listen();
  EXPECT_TRUE(peer().waitForEnd());
  EXPECT_TRUE(all.waitFor("Tovik: server: the consumer of server is retired"));
  server.reset();
}

TEST_F(ServerTest, IsDestroyedInsideAHandlerOnTheWorker) {
  Latch destroyed;
  generator.prepare = [&](Recorder& recorder) {
    recorder.when("onChannelUp", [&] {
      server.reset();
      destroyed.open();
    });
  };
  listen();
  LoopbackSocket remote = peer();
  ASSERT_TRUE(destroyed.waits());
  remote.send("x");
  EXPECT_TRUE(generator.consumer(1).waitsForData(1));
}

TEST_F(ServerTest, IsDestroyedInsideTheGenerator) {
  Latch destroyed;
  generator.act = [&] {
    server.reset();
    destroyed.open();
  };
  listen();
  LoopbackSocket remote = peer();
  EXPECT_TRUE(destroyed.waits());
  EXPECT_TRUE(remote.waitForEnd());
}

TEST_F(ServerTest, KeepsAcceptedConnectionsAfterItsEnd) {
  listen();
  LoopbackSocket remote = peer();
  ASSERT_TRUE(generator.consumer(1).waitsFor("onChannelUp"));
  server.reset();
  remote.send("x");
  EXPECT_TRUE(generator.consumer(1).waitsForData(1));
}

TEST_F(ServerTest, EndsConnectionsThatHaveNoConsumerYetWhenItStops) {
  auto held = std::make_unique<HeldWorker>(*transport);
  listen();
  LoopbackSocket waiting = peer();
  ASSERT_TRUE(server->stopListening(-1));
  held.reset();
  EXPECT_TRUE(waiting.waitForEnd());
  EXPECT_THAT(generator.consumers(), IsEmpty());
}

TEST_F(ServerTest, WaitsForTheGeneratorThatIsBeingAskedWhenItStops) {
  Latch asked;
  Latch answered;
  std::atomic<bool> returned = false;
  generator.act = [&] {
    asked.open();
    EXPECT_TRUE(answered.waits());
    returned = true;
  };
  listen();
  LoopbackSocket remote = peer();
  ASSERT_TRUE(asked.waits());
  std::thread answerer([&] { answered.open(); });
  EXPECT_TRUE(server->stopListening(-1));
  EXPECT_TRUE(returned);
  answerer.join();
  // The generator returned after the stop or just before it: in both cases the connection has a consumer or has ended.
  EXPECT_THAT(generator.consumers(), SizeIs(1));
}

TEST_F(ServerTest, OutlivesTheTransport) {
  listen();
  LoopbackSocket before = peer();
  ASSERT_TRUE(generator.consumer(1).waitsFor("onChannelUp"));
  transport.reset();
  EXPECT_TRUE(isWholeLife(generator.consumer(1).events()));
  EXPECT_FALSE(server->is_running());
  EXPECT_THROW(peer(), std::system_error);
  EXPECT_TRUE(server->stopListening(-1));
  EXPECT_EQ(server->startListening(loopback()).message, "transport transport is closed");
  EXPECT_THAT(generator.consumers(), SizeIs(1));
}

TEST_F(ServerTest, OutlivesTheWorker) {
  {
    const testing_support::ScopedDispatcher passing("passing");
    Transport own(passing.get(), Traits(), nullptr, nullptr, std::tr1::function<void(WorkerThread*)>(), "own");
    server = serverWith(own);
    listen();
  }
  EXPECT_FALSE(server->is_running());
  EXPECT_EQ(server->start().message, "transport own is closed");
  EXPECT_TRUE(server->stopListening(-1));
}

TEST_F(ServerTest, MayBeDestroyedAtAnyMomentWhileConnectionsArrive) {
  for (int round = 0; round < 200; ++round) {
    listen();
    LoopbackSocket first = peer();
    LoopbackSocket second = peer();
    for (int i = 0; i < round * 5; ++i) std::this_thread::yield();
    server = serverWith(*transport);
    EXPECT_TRUE(transport->deactivateAllConduits(-1));
    first.receiveToEnd();
    second.receiveToEnd();
  }
  for (const Recorder* const recorder : generator.consumers())
    EXPECT_TRUE(recorder->events().empty() || isWholeLife(recorder->events()));
}

TEST_F(ServerTest, MayLoseItsTransportAtAnyMomentWhileConnectionsArrive) {
  for (int round = 0; round < 100; ++round) {
    listen();
    LoopbackSocket first = peer();
    LoopbackSocket second = peer();
    for (int i = 0; i < round * 10; ++i) std::this_thread::yield();
    transport.reset();
    server.reset();
    EXPECT_EQ(first.receiveToEnd() + second.receiveToEnd(), "");
    transport = std::make_unique<Transport>(dispatcher.get(), Traits(), nullptr, nullptr,
                                            std::tr1::function<void(WorkerThread*)>(), "transport");
    server = serverWith(*transport);
  }
  for (const Recorder* const recorder : generator.consumers())
    EXPECT_TRUE(recorder->events().empty() || isWholeLife(recorder->events()));
}

TEST_F(ServerTest, StopsAfterRunningOutOfDescriptors) {
  if (!testing_support::descriptorsMayRunOut()) GTEST_SKIP() << "the sanitizer needs descriptors";
  listen();
  LoopbackSocket remote = LoopbackSocket::unconnected();
  const testing_support::NoMoreDescriptors none;
  remote.connect(server->address());
  ASSERT_TRUE(log.waitFor("Tovik: server: accept on " + server->address().printInet() + ": Too many open files"));
  EXPECT_TRUE(server->stopListening(-1));
  EXPECT_TRUE(remote.waitForEnd());
}

TEST_F(ServerTest, ListensAgainRightAfterRunningOutOfDescriptors) {
  if (!testing_support::descriptorsMayRunOut()) GTEST_SKIP() << "the sanitizer needs descriptors";
  listen();
  LoopbackSocket remote = LoopbackSocket::unconnected();
  {
    const testing_support::NoMoreDescriptors none;
    remote.connect(server->address());
    ASSERT_TRUE(log.waitFor("Tovik: server: accept on " + server->address().printInet() + ": Too many open files"));
  }
  EXPECT_TRUE(server->stopListening(-1));
  listen();
  LoopbackSocket next = peer();
  EXPECT_TRUE(generator.consumer(1).waitsFor("onChannelUp"));
}

TEST_F(ServerTest, FailsToStopInTimeWhileItIsHeld) {
  if (!testing_support::descriptorsMayRunOut()) GTEST_SKIP() << "the sanitizer needs descriptors";
  listen();
  Latch held;
  Latch released;
  // It logs that there are no descriptors: a log handler is where a test can hold it.
  const auto handler = qk::logging::AddHandler([&](const qk::logging::Record& /*record*/) {
    held.open();
    EXPECT_TRUE(released.waits());
  });
  LoopbackSocket remote = LoopbackSocket::unconnected();
  {
    const testing_support::NoMoreDescriptors none;
    remote.connect(server->address());
    ASSERT_TRUE(held.waits());
  }
  const Result cutShort = server->stopListening(1);
  EXPECT_FALSE(cutShort);
  EXPECT_EQ(cutShort.message, "the listener on " + server->address().printInet() + " has not stopped in time");
  EXPECT_TRUE(server->is_running());
  released.open();
  EXPECT_TRUE(server->stopListening(-1));
  EXPECT_TRUE(qk::logging::RemoveHandler(handler));
  listen();
}

TEST_F(ServerTest, IsKilledAndStoppedAndListensAgain) {
  listen();
  server->kill();
  EXPECT_FALSE(server->is_running());
  EXPECT_TRUE(server->stopListening(-1));
  listen();
  LoopbackSocket remote = peer();
  EXPECT_TRUE(generator.consumer(1).waitsFor("onChannelUp"));
}

TEST_F(ServerTest, KeepsThemWaitingWhileItIsStoppedAndNotStarted) {
  EXPECT_EQ(server->start().message, "server is not listening");
  listen();
  EXPECT_EQ(server->start().message, "server is already running");
  server->kill();
  LoopbackSocket remote = peer();
  transport->call([] {});
  EXPECT_THAT(generator.consumers(), IsEmpty());
  EXPECT_TRUE(server->start());
  EXPECT_TRUE(generator.consumer(1).waitsFor("onChannelUp"));
}

TEST_F(ServerTest, EndsWithItsTransportLikeEveryOtherOfIt) {
  std::vector<std::unique_ptr<Server>> servers;
  for (int i = 0; i < 20; ++i) {
    servers.push_back(serverWith(*transport));
    ASSERT_TRUE(servers.back()->startListening(loopback()));
  }
  transport.reset();
  for (const auto& each : servers) {
    EXPECT_FALSE(each->is_running());
    EXPECT_THROW(LoopbackSocket::connected(each->address()), std::system_error);
  }
}

}  // namespace
}  // namespace tovik
