#include <gmock/gmock.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <tovik/conduit.h>
#include <tovik/factory.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include "placed_transport.h"
#include "server_fixture.h"
#include "socket_option.h"
#include "support/descriptor_limit.h"
#include "support/leftovers.h"
#include "support/rest.h"

namespace tovik {
namespace {

using ::testing::IsEmpty;
using testing_support::Events;
using testing_support::HeldWorker;
using testing_support::Latch;
using testing_support::loopback;
using testing_support::LoopbackSocket;
using testing_support::optionOf;
using testing_support::Recorder;
using testing_support::ServerTest;

TEST_F(ServerTest, ListensOnAPortOfTheSystemsChoice) {
  listen();
  EXPECT_NE(server->address().port(), 0);
  EXPECT_EQ(server->address(), loopback(server->address().port()));
  EXPECT_TRUE(server->is_running());
}

TEST_F(ServerTest, ListensOnThePortGiven) {
  const unsigned short port = testing_support::refusingAddress().port();
  ASSERT_TRUE(server->startListening(loopback(port)));
  EXPECT_EQ(server->address(), loopback(port));
}

TEST_F(ServerTest, HandsEachConnectionToTheGeneratorsConsumer) {
  listen();
  LoopbackSocket first = peer();
  LoopbackSocket second = peer();
  first.send("1");
  ASSERT_TRUE(generator.consumer(1).waitsForData(1));
  second.send("22");
  ASSERT_TRUE(generator.consumer(2).waitsForData(2));
  EXPECT_EQ(generator.consumer(1).data(), "1");
  EXPECT_EQ(generator.consumer(2).data(), "22");
}

TEST_F(ServerTest, DeliversEveryEventOnceAndInOrder) {
  listen();
  LoopbackSocket remote = peer();
  remote.send("x");
  remote.close();
  ASSERT_TRUE(generator.consumer(1).waitsFor("onConduitInactive"));
  EXPECT_EQ(generator.consumer(1).events(),
            (Events{"onNewConduit", "onConduitActive", "getDataAggregator", "onNewChannel", "onChannelUp", "data",
                    "onChannelDown peer", "onConduitInactive"}));
}

TEST_F(ServerTest, ConnectionsKnowTheirNameAndAddresses) {
  std::string name;
  Address local(0);
  Address remote(0);
  generator.prepare = [&](Recorder& recorder) {
    recorder.when("onChannelUp", [&] {
      name = recorder.conduit()->name();
      local = recorder.conduit()->localAddress();
      remote = recorder.conduit()->remoteAddress();
    });
  };
  listen();
  LoopbackSocket connection = peer();
  ASSERT_TRUE(generator.consumer(1).waitsFor("onChannelUp"));
  transport->call([] {});
  EXPECT_EQ(name, "server");
  EXPECT_EQ(local, server->address());
  EXPECT_EQ(remote, connection.address());
}

TEST_F(ServerTest, RefusesWhatTheGeneratorHasNoConsumerFor) {
  generator.refuses = true;
  listen();
  EXPECT_TRUE(peer().waitForEnd());
  EXPECT_TRUE(peer().waitForEnd());
}

TEST_F(ServerTest, LogsAnExceptionOfTheGeneratorAndGoesOn) {
  generator.act = [] { throw std::runtime_error("boom"); };
  listen();
  EXPECT_TRUE(peer().waitForEnd());
  EXPECT_TRUE(log.waitFor("Tovik: server: exception in a handler: boom"));
  transport->call([this] { generator.act = nullptr; });
  LoopbackSocket next = peer();
  EXPECT_TRUE(generator.consumer(1).waitsFor("onChannelUp"));
}

TEST_F(ServerTest, LogsAnExceptionOfOnNewSocketAndGoesOn) {
  generator.prepare = [](Recorder& recorder) {
    recorder.socketAct = [](Socket& /*socket*/) { throw std::runtime_error("boom"); };
  };
  listen();
  EXPECT_TRUE(peer().waitForEnd());
  EXPECT_TRUE(log.waitFor("Tovik: server: exception in a handler: boom"));
  EXPECT_THAT(generator.consumer(1).events(), IsEmpty());
  transport->call([this] { generator.prepare = nullptr; });
  LoopbackSocket next = peer();
  EXPECT_TRUE(generator.consumer(2).waitsFor("onChannelUp"));
}

TEST_F(ServerTest, LogsAnExceptionOfRunAndGoesOn) {
  class ThrowsOnce final : public Server {
   public:
    using Server::Server;
    ~ThrowsOnce() override { EXPECT_TRUE(stopListening(-1)); }
    void run(const volatile bool& stopping) override {
      if (!std::exchange(thrown_, true)) throw std::runtime_error("boom");
      Server::run(stopping);
    }

   private:
    bool thrown_ = false;
  };
  server = std::make_unique<ThrowsOnce>(*transport, Protocol::tcp, &generator, "server", false, nullptr, nullptr);
  listen();
  LoopbackSocket remote = peer();
  EXPECT_TRUE(generator.consumer(1).waitsFor("onChannelUp"));
  EXPECT_TRUE(log.waitFor("Tovik: server: exception in a handler: boom"));
}

TEST_F(ServerTest, ListensOnlyOnceAtATime) {
  listen();
  const Address address = server->address();
  const Result again = server->startListening(loopback());
  EXPECT_FALSE(again);
  EXPECT_EQ(again.message, "already listening on " + address.printInet());
  EXPECT_EQ(server->address(), address);
  LoopbackSocket remote = peer();
  EXPECT_TRUE(generator.consumer(1).waitsFor("onChannelUp"));
}

TEST_F(ServerTest, FailsWithTheAddressWhereAnotherListens) {
  const testing_support::LoopbackSocket other = testing_support::LoopbackSocket::listening();
  const Result result = server->startListening(other.address());
  EXPECT_FALSE(result);
  EXPECT_EQ(result.message, "listen on " + other.address().printInet() + ": Address already in use");
  EXPECT_FALSE(server->is_running());
  listen();
}

TEST_F(ServerTest, FailsWithTheAddressThatIsNotOurs) {
  Address foreign(0);
  ASSERT_TRUE(foreign.set_host("192.0.2.1"));
  const Result result = server->startListening(foreign);
  EXPECT_FALSE(result);
  EXPECT_EQ(result.message, "listen on 192.0.2.1:0: Cannot assign requested address");
}

TEST_F(ServerTest, FailsWithoutDescriptorsAndListensLater) {
  if (!testing_support::descriptorsMayRunOut()) GTEST_SKIP() << "the sanitizer needs descriptors";
  {
    const testing_support::NoMoreDescriptors none;
    EXPECT_EQ(server->startListening(loopback()).message, "socket: Too many open files");
  }
  listen();
}

TEST_F(ServerTest, LogsThatDescriptorsRanOutAndAcceptsWhenSomeAreFree) {
  if (!testing_support::descriptorsMayRunOut()) GTEST_SKIP() << "the sanitizer needs descriptors";
  listen();
  LoopbackSocket remote = LoopbackSocket::unconnected();
  {
    const testing_support::NoMoreDescriptors none;
    remote.connect(server->address());
    EXPECT_TRUE(log.waitFor("Tovik: server: accept on " + server->address().printInet() + ": Too many open files"));
    EXPECT_EQ(log.entries()[0].level, 30);
  }
  clock.advance(std::chrono::milliseconds(100), *transport);
  EXPECT_TRUE(generator.consumer(1).waitsFor("onChannelUp"));
}

TEST_F(ServerTest, AcceptsOnTheWorkerAndOnNoThreadOfItsOwn) {
  std::thread::id worker;
  std::thread::id asked;
  transport->call([&] { worker = std::this_thread::get_id(); });
  generator.act = [&] { asked = std::this_thread::get_id(); };
  const testing_support::Held before = testing_support::heldNow();
  listen();
  EXPECT_EQ(testing_support::heldNow().threads, before.threads);
  LoopbackSocket remote = peer();
  ASSERT_TRUE(generator.consumer(1).waitsFor("onChannelUp"));
  EXPECT_EQ(asked, worker);
}

class StartNoted final : public ThreadCallbacks {
 public:
  void onThreadStart(WorkerThread& /*worker*/) override { started = true; }
  void onThreadStop(WorkerThread& /*worker*/) override {}
  bool started = false;
};

// A connection that waited before its transport's first turn was served without it.
TEST_F(ServerTest, AsksTheGeneratorAfterTheTransportHasBegun) {
  const testing_support::PlacedTransport placed(dispatcher.get());
  StartNoted callbacks;
  std::unique_ptr<Transport> fresh;
  LoopbackSocket remote;
  bool startedBefore = false;
  generator.act = [&] { startedBefore = callbacks.started; };
  // In a separate turn, so that the next turn finds the connection before it runs the transport's turn.
  placed.worker().post([&] {
    fresh = std::make_unique<Transport>(dispatcher.get(), Traits(), &callbacks, nullptr,
                                        std::tr1::function<void(WorkerThread*)>(), "fresh");
    server = serverWith(*fresh);
    listen();
    remote = peer();
  });
  EXPECT_TRUE(generator.consumer(1).waitsFor("onChannelUp"));
  EXPECT_TRUE(startedBefore);
  server.reset();
  fresh.reset();
}

TEST_F(ServerTest, WaitsForAConnectionNoLongerThanTheLimit) {
  const HeldWorker held(*transport);
  listen();
  Socket connection;
  Address remote(0);
  Address local(0);
  const Result none = server->waitForConnection(connection, remote, local, 1);
  EXPECT_FALSE(none);
  EXPECT_EQ(none.message, "no connection on " + server->address().printInet() + " in time");
  LoopbackSocket arriving = peer();
  EXPECT_TRUE(server->waitForConnection(connection, remote, local, 30'000));
  EXPECT_TRUE(connection.isOpen());
  EXPECT_EQ(remote, arriving.address());
  EXPECT_EQ(local, server->address());
  server->stop();
  EXPECT_EQ(server->waitForConnection(connection, remote, local, -1).message,
            "not listening on " + server->address().printInet());
}

std::atomic<bool> interrupted{false};

// It gave up at any signal.
TEST_F(ServerTest, GoesOnWaitingForAConnectionAfterASignal) {
  const HeldWorker held(*transport);
  listen();
  struct sigaction action {};
  action.sa_handler = [](int) { interrupted = true; };
  struct sigaction before {};
  ASSERT_EQ(::sigaction(SIGUSR1, &action, &before), 0);
  Result result;
  std::thread waiting([&] {
    Socket connection;
    Address remote(0);
    Address local(0);
    result = server->waitForConnection(connection, remote, local, -1);
  });
  EXPECT_TRUE(testing_support::othersComeToRest([] { return true; }));
  EXPECT_EQ(::pthread_kill(waiting.native_handle(), SIGUSR1), 0);
  EXPECT_TRUE(testing_support::othersComeToRest([] { return interrupted.load(); }));
  LoopbackSocket arriving = peer();
  waiting.join();
  EXPECT_TRUE(result) << result.message;
  EXPECT_EQ(::sigaction(SIGUSR1, &before, nullptr), 0);
}

TEST_F(ServerTest, AppliesItsOptionsToAcceptedSocketsBeforeOnNewSocket) {
  SocketOptions options;
  options.send_buffer_bytes = 40'000;
  server = serverWith(*transport, true, nullptr, &options);
  Latch told;
  generator.prepare = [&](Recorder& recorder) {
    recorder.socketAct = [&](Socket& socket) {
      EXPECT_EQ(optionOf(socket, IPPROTO_TCP, TCP_NODELAY), 1);
      EXPECT_EQ(optionOf(socket, SOL_SOCKET, SO_KEEPALIVE), 1);
      EXPECT_EQ(optionOf(socket, SOL_SOCKET, SO_SNDBUF), 80'000);
      EXPECT_NE(socket.remoteAddress(), Address(0));
      EXPECT_THAT(recorder.events(), IsEmpty());
      told.open();
    };
  };
  listen();
  LoopbackSocket remote = peer();
  EXPECT_TRUE(told.waits());
  server.reset();
}

TEST_F(ServerTest, NotifiesItsCallbackOfTheListeningSocketOnTheCallingThread) {
  class Told final : public SocketCreationCallback {
   public:
    void onNewSocket(Socket& socket) override {
      EXPECT_EQ(std::this_thread::get_id(), thread_);
      EXPECT_EQ(socket.localAddress(), Address(0));
      ++times;
    }
    int times = 0;

   private:
    const std::thread::id thread_ = std::this_thread::get_id();
  } told;
  server = serverWith(*transport, false, &told);
  listen();
  EXPECT_EQ(told.times, 1);
  server.reset();
}

TEST_F(ServerTest, ListensOnASocketOfTheFactory) {
  class OwnSockets final : public Factory {
   public:
    Result makeSocket(Protocol protocol, Socket& socket) override {
      ++made;
      return socket.open(protocol);
    }
    int made = 0;
  } factory;
  {
    Transport own(dispatcher.get(), Traits(), nullptr, &factory, std::tr1::function<void(WorkerThread*)>(), "own");
    server = serverWith(own);
    listen();
    LoopbackSocket remote = peer();
    EXPECT_TRUE(generator.consumer(1).waitsFor("onChannelUp"));
    EXPECT_EQ(factory.made, 1);
    server.reset();
  }
}

TEST_F(ServerTest, KeepsItsNameAndPrintsAsAThread) {
  EXPECT_EQ(server->name(), "server");
  std::ostringstream text;
  server->print(text);
  EXPECT_EQ(text.str(), "thread server, not running");
}

}  // namespace
}  // namespace tovik
