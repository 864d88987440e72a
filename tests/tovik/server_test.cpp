#include <gmock/gmock.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <tovik/channel.h>
#include <tovik/conduit.h>
#include <tovik/factory.h>
#include <tovik/server.h>

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tovik_connections.h"
#include "tovik_descriptor_limit.h"
#include "tovik_latch.h"

namespace tovik {
namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using testing_support::Awaited;
using testing_support::Events;
using testing_support::isWholeLife;
using testing_support::Latch;
using testing_support::RawConnection;
using testing_support::Recorder;

/// Gives a fresh consumer, which outlives the transport, for each connection.
class Generator final : public ConsumerGenerator {
 public:
  Consumer* getConsumer() override {
    if (act) act();
    if (refuses) return nullptr;
    Recorder& recorder = kept_.emplace_back();
    if (prepare) prepare(recorder);
    given_.change([&](std::vector<Recorder*>& given) { given.push_back(&recorder); });
    return &recorder;
  }

  /// The consumer of the connection of that number, counted from 1.
  Recorder& consumer(unsigned long number) const {
    EXPECT_TRUE(given_.waitUntil([number](const auto& given) { return given.size() >= number; }));
    return *given_.get().at(number - 1);
  }
  std::vector<Recorder*> consumers() const { return given_.get(); }

  // The worker reads these: to be set while it isn't asked.
  std::function<void()> act;
  std::function<void(Recorder&)> prepare;
  bool refuses = false;

 private:
  std::deque<Recorder> kept_;  // the worker's alone
  Awaited<std::vector<Recorder*>> given_;
};

Address loopback(unsigned short port = 0) {
  Address address(port);
  EXPECT_TRUE(address.set_host("127.0.0.1"));
  return address;
}

class Serving : public testing_support::LeavesNothing {
 protected:
  std::unique_ptr<Server> serverWith(Transport& through, bool keepAlive = false,
                                     SocketCreationCallback* callback = nullptr, SocketOptions* options = nullptr) {
    return std::make_unique<Server>(through, Protocol::tcp, &generator, "server", keepAlive, callback, options);
  }
  void listen() { ASSERT_TRUE(server->startListening(loopback())); }
  RawConnection peer() { return RawConnection::to(server->address()); }

  testing_support::LogCapture log{30};
  testing_support::Dispatcher dispatcher{"d"};
  Generator generator;
  std::unique_ptr<Transport> transport = std::make_unique<Transport>(
      dispatcher.get(), Traits(), nullptr, nullptr, std::tr1::function<void(WorkerThread*)>(), "transport");
  std::unique_ptr<Server> server = serverWith(*transport);
};

TEST_F(Serving, ListensOnAPortOfTheSystemsChoice) {
  listen();
  EXPECT_NE(server->address().port(), 0);
  EXPECT_EQ(server->address(), loopback(server->address().port()));
  EXPECT_TRUE(server->is_running());
}

TEST_F(Serving, ListensOnThePortGiven) {
  const unsigned short port = testing_support::refusingPlace().port();
  ASSERT_TRUE(server->startListening(loopback(port)));
  EXPECT_EQ(server->address(), loopback(port));
}

TEST_F(Serving, HandsEachConnectionToTheGeneratorsConsumer) {
  listen();
  RawConnection first = peer();
  RawConnection second = peer();
  first.send("1");
  ASSERT_TRUE(generator.consumer(1).waitsForData(1));
  second.send("22");
  ASSERT_TRUE(generator.consumer(2).waitsForData(2));
  EXPECT_EQ(generator.consumer(1).data(), "1");
  EXPECT_EQ(generator.consumer(2).data(), "22");
}

TEST_F(Serving, TellsEveryEventOnceAndInOrder) {
  listen();
  RawConnection remote = peer();
  remote.send("x");
  remote.close();
  ASSERT_TRUE(generator.consumer(1).waitsFor("onConduitInactive"));
  EXPECT_EQ(generator.consumer(1).events(),
            (Events{"onNewConduit", "onConduitActive", "getDataAggregator", "onNewChannel", "onChannelUp", "data",
                    "onChannelDown peer", "onConduitInactive"}));
}

TEST_F(Serving, ConnectionsKnowTheirNameAndAddresses) {
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
  RawConnection connection = peer();
  ASSERT_TRUE(generator.consumer(1).waitsFor("onChannelUp"));
  transport->call([] {});
  EXPECT_EQ(name, "server");
  EXPECT_EQ(local, server->address());
  EXPECT_EQ(remote, connection.localAddress());
}

TEST_F(Serving, RefusesWhatTheGeneratorHasNoConsumerFor) {
  generator.refuses = true;
  listen();
  EXPECT_TRUE(peer().isEnded());
  EXPECT_TRUE(peer().isEnded());
}

TEST_F(Serving, LogsAnExceptionOfTheGeneratorAndGoesOn) {
  generator.act = [] { throw std::runtime_error("boom"); };
  listen();
  EXPECT_TRUE(peer().isEnded());
  EXPECT_TRUE(log.waitFor("Tovik: server: exception in a handler: boom"));
  transport->call([this] { generator.act = nullptr; });
  RawConnection next = peer();
  EXPECT_TRUE(generator.consumer(1).waitsFor("onChannelUp"));
}

TEST_F(Serving, LogsAnExceptionOfOnNewSocketAndGoesOn) {
  generator.prepare = [](Recorder& recorder) {
    recorder.socketAct = [](Socket& /*socket*/) { throw std::runtime_error("boom"); };
  };
  listen();
  EXPECT_TRUE(peer().isEnded());
  EXPECT_TRUE(log.waitFor("Tovik: server: exception in a handler: boom"));
  EXPECT_THAT(generator.consumer(1).events(), IsEmpty());
  transport->call([this] { generator.prepare = nullptr; });
  RawConnection next = peer();
  EXPECT_TRUE(generator.consumer(2).waitsFor("onChannelUp"));
}

TEST_F(Serving, ListensOnlyOnceAtATime) {
  listen();
  const Address address = server->address();
  const Result again = server->startListening(loopback());
  EXPECT_FALSE(again);
  EXPECT_THAT(again.message, HasSubstr(address.printInet()));
  EXPECT_EQ(server->address(), address);
  RawConnection remote = peer();
  EXPECT_TRUE(generator.consumer(1).waitsFor("onChannelUp"));
}

TEST_F(Serving, FailsWithTheAddressWhereAnotherListens) {
  const testing_support::RawListener other;
  const Result result = server->startListening(other.address());
  EXPECT_FALSE(result);
  EXPECT_THAT(result.message, AllOf(HasSubstr(other.address().printInet()), HasSubstr("in use")));
  EXPECT_FALSE(server->is_running());
  listen();
}

TEST_F(Serving, FailsWithTheAddressThatIsNotOurs) {
  Address foreign(0);
  ASSERT_TRUE(foreign.set_host("192.0.2.1"));
  const Result result = server->startListening(foreign);
  EXPECT_FALSE(result);
  EXPECT_THAT(result.message, HasSubstr("192.0.2.1:0"));
}

TEST_F(Serving, FailsWithoutDescriptorsAndListensLater) {
  if (!testing_support::descriptorsMayRunOut()) GTEST_SKIP() << "the sanitizer needs descriptors";
  {
    const testing_support::NoMoreDescriptors none;
    EXPECT_FALSE(server->startListening(loopback()));
  }
  listen();
}

TEST_F(Serving, StopsAtOnceAndTwice) {
  listen();
  const Address address = server->address();
  EXPECT_TRUE(server->stopListening(-1));
  EXPECT_FALSE(server->is_running());
  EXPECT_TRUE(server->stopListening(-1));
  EXPECT_THROW(RawConnection::to(address), std::system_error);
}

TEST_F(Serving, NeedNotListenToStop) { EXPECT_TRUE(server->stopListening(-1)); }

TEST_F(Serving, ListensAgainAfterAStopAndOnTheSamePort) {
  listen();
  const Address address = server->address();
  ASSERT_TRUE(server->stopListening(-1));
  ASSERT_TRUE(server->startListening(address));
  RawConnection before = peer();
  ASSERT_TRUE(generator.consumer(1).waitsFor("onChannelUp"));
  ASSERT_TRUE(server->stopListening(-1));
  ASSERT_TRUE(server->startListening(address));
  RawConnection remote = peer();
  EXPECT_TRUE(generator.consumer(2).waitsFor("onChannelUp"));
}

TEST_F(Serving, StopsInsideAHandlerOnTheWorker) {
  Latch stopped;
  generator.prepare = [&](Recorder& recorder) {
    recorder.when("onChannelUp", [&] {
      EXPECT_TRUE(server->stopListening(-1));
      stopped.open();
    });
  };
  listen();
  RawConnection remote = peer();
  ASSERT_TRUE(stopped.waits());
  EXPECT_FALSE(server->is_running());
  remote.send("x");
  EXPECT_TRUE(generator.consumer(1).waitsForData(1));
}

TEST_F(Serving, StopsInsideTheGeneratorAndRefusesThatConnection) {
  Latch stopped;
  generator.act = [&] {
    EXPECT_TRUE(server->stopListening(-1));
    stopped.open();
  };
  listen();
  RawConnection remote = peer();
  EXPECT_TRUE(stopped.waits());
  EXPECT_TRUE(remote.isEnded());
  EXPECT_THAT(generator.consumer(1).events(), IsEmpty());
}

TEST_F(Serving, IsDestroyedInsideAHandlerOnTheWorker) {
  Latch destroyed;
  generator.prepare = [&](Recorder& recorder) {
    recorder.when("onChannelUp", [&] {
      server.reset();
      destroyed.open();
    });
  };
  listen();
  RawConnection remote = peer();
  ASSERT_TRUE(destroyed.waits());
  remote.send("x");
  EXPECT_TRUE(generator.consumer(1).waitsForData(1));
}

TEST_F(Serving, IsDestroyedInsideTheGenerator) {
  Latch destroyed;
  generator.act = [&] {
    server.reset();
    destroyed.open();
  };
  listen();
  RawConnection remote = peer();
  EXPECT_TRUE(destroyed.waits());
  EXPECT_TRUE(remote.isEnded());
}

TEST_F(Serving, LetsAcceptedConnectionsGoOnAfterItsEnd) {
  listen();
  RawConnection remote = peer();
  ASSERT_TRUE(generator.consumer(1).waitsFor("onChannelUp"));
  server.reset();
  remote.send("x");
  EXPECT_TRUE(generator.consumer(1).waitsForData(1));
}

TEST_F(Serving, EndsConnectionsThatHaveNoConsumerYetWhenItStops) {
  Latch held;
  Latch released;
  std::thread holder([&] {
    transport->call([&] {
      held.open();
      EXPECT_TRUE(released.waits());
    });
  });
  ASSERT_TRUE(held.waits());
  listen();
  RawConnection waiting = peer();
  ASSERT_TRUE(server->stopListening(-1));
  released.open();
  holder.join();
  EXPECT_TRUE(waiting.isEnded());
  EXPECT_THAT(generator.consumers(), IsEmpty());
}

TEST_F(Serving, WaitsForTheGeneratorThatIsBeingAskedWhenItStops) {
  Latch asked;
  Latch answered;
  std::atomic<bool> returned = false;
  generator.act = [&] {
    asked.open();
    EXPECT_TRUE(answered.waits());
    returned = true;
  };
  listen();
  RawConnection remote = peer();
  ASSERT_TRUE(asked.waits());
  std::thread answerer([&] { answered.open(); });
  EXPECT_TRUE(server->stopListening(-1));
  EXPECT_TRUE(returned);
  answerer.join();
  // The answer came after the stop, or just before it: either way the connection has a consumer or has ended.
  EXPECT_THAT(generator.consumers(), SizeIs(1));
}

TEST_F(Serving, OutlivesTheTransport) {
  listen();
  RawConnection before = peer();
  ASSERT_TRUE(generator.consumer(1).waitsFor("onChannelUp"));
  transport.reset();
  EXPECT_TRUE(isWholeLife(generator.consumer(1).events()));
  EXPECT_FALSE(server->is_running());
  EXPECT_THROW(peer(), std::system_error);
  EXPECT_TRUE(server->stopListening(-1));
  EXPECT_FALSE(server->startListening(loopback()));
  EXPECT_THAT(generator.consumers(), SizeIs(1));
}

TEST_F(Serving, OutlivesTheWorker) {
  {
    const testing_support::Dispatcher passing("passing");
    Transport own(passing.get(), Traits(), nullptr, nullptr, std::tr1::function<void(WorkerThread*)>(), "own");
    server = serverWith(own);
    listen();
  }
  EXPECT_FALSE(server->is_running());
  EXPECT_FALSE(server->start());
  EXPECT_TRUE(server->stopListening(-1));
}

TEST_F(Serving, MayBeDestroyedAtAnyMomentWhileConnectionsArrive) {
  for (int round = 0; round < 200; ++round) {
    listen();
    RawConnection first = peer();
    RawConnection second = peer();
    for (int i = 0; i < round * 5; ++i) std::this_thread::yield();
    server = serverWith(*transport);
    EXPECT_TRUE(transport->deactivateAllConduits(-1));
    first.receiveAll();
    second.receiveAll();
  }
  for (const Recorder* const recorder : generator.consumers())
    EXPECT_TRUE(recorder->events().empty() || isWholeLife(recorder->events()));
}

TEST_F(Serving, MayLoseItsTransportAtAnyMomentWhileConnectionsArrive) {
  for (int round = 0; round < 100; ++round) {
    listen();
    RawConnection first = peer();
    RawConnection second = peer();
    for (int i = 0; i < round * 10; ++i) std::this_thread::yield();
    transport.reset();
    server.reset();
    EXPECT_EQ(first.receiveAll() + second.receiveAll(), "");
    transport = std::make_unique<Transport>(dispatcher.get(), Traits(), nullptr, nullptr,
                                            std::tr1::function<void(WorkerThread*)>(), "transport");
    server = serverWith(*transport);
  }
  for (const Recorder* const recorder : generator.consumers())
    EXPECT_TRUE(recorder->events().empty() || isWholeLife(recorder->events()));
}

TEST_F(Serving, ThatRunsOutOfDescriptorsLogsAndAcceptsWhenSomeAreFree) {
  if (!testing_support::descriptorsMayRunOut()) GTEST_SKIP() << "the sanitizer needs descriptors";
  listen();
  RawConnection remote = RawConnection::unconnected();
  {
    const testing_support::NoMoreDescriptors none;
    remote.connect(server->address());
    EXPECT_TRUE(log.waitFor("Tovik: server: accept on " + server->address().printInet() + ": Too many open files"));
    EXPECT_EQ(log.entries()[0].level, 30);
  }
  EXPECT_TRUE(generator.consumer(1).waitsFor("onChannelUp"));
}

TEST_F(Serving, ThatRunsOutOfDescriptorsStopsAllTheSame) {
  if (!testing_support::descriptorsMayRunOut()) GTEST_SKIP() << "the sanitizer needs descriptors";
  listen();
  RawConnection remote = RawConnection::unconnected();
  const testing_support::NoMoreDescriptors none;
  remote.connect(server->address());
  ASSERT_TRUE(log.waitFor("Tovik: server: accept on " + server->address().printInet() + ": Too many open files"));
  EXPECT_TRUE(server->stopListening(-1));
  EXPECT_TRUE(remote.isEnded());
}

TEST_F(Serving, ListensAgainRightAfterRunningOutOfDescriptors) {
  if (!testing_support::descriptorsMayRunOut()) GTEST_SKIP() << "the sanitizer needs descriptors";
  listen();
  RawConnection remote = RawConnection::unconnected();
  {
    const testing_support::NoMoreDescriptors none;
    remote.connect(server->address());
    ASSERT_TRUE(log.waitFor("Tovik: server: accept on " + server->address().printInet() + ": Too many open files"));
  }
  EXPECT_TRUE(server->stopListening(-1));
  listen();
  RawConnection next = peer();
  EXPECT_TRUE(generator.consumer(1).waitsFor("onChannelUp"));
}

TEST_F(Serving, FailsToStopInTimeWhileItIsHeld) {
  if (!testing_support::descriptorsMayRunOut()) GTEST_SKIP() << "the sanitizer needs descriptors";
  listen();
  Latch held;
  Latch released;
  // It logs that there are no descriptors: a log handler is where a test can hold it.
  const auto handler = qk::logging::AddHandler([&](const qk::logging::Record& /*record*/) {
    held.open();
    EXPECT_TRUE(released.waits());
  });
  RawConnection remote = RawConnection::unconnected();
  {
    const testing_support::NoMoreDescriptors none;
    remote.connect(server->address());
    ASSERT_TRUE(held.waits());
  }
  const Result cutShort = server->stopListening(1);
  EXPECT_FALSE(cutShort);
  EXPECT_THAT(cutShort.message, HasSubstr(server->address().printInet()));
  EXPECT_TRUE(server->is_running());
  released.open();
  EXPECT_TRUE(server->stopListening(-1));
  EXPECT_TRUE(qk::logging::RemoveHandler(handler));
  listen();
}

TEST_F(Serving, IsKilledAndStoppedAndListensAgain) {
  listen();
  server->kill();
  EXPECT_FALSE(server->is_running());
  EXPECT_TRUE(server->stopListening(-1));
  listen();
  RawConnection remote = peer();
  EXPECT_TRUE(generator.consumer(1).waitsFor("onChannelUp"));
}

TEST_F(Serving, AcceptsOnTheWorkerAndOnNoThreadOfItsOwn) {
  std::thread::id worker;
  std::thread::id asked;
  transport->call([&] { worker = std::this_thread::get_id(); });
  generator.act = [&] { asked = std::this_thread::get_id(); };
  const testing_support::Held before = testing_support::heldNow();
  listen();
  EXPECT_EQ(testing_support::heldNow().threads, before.threads);
  RawConnection remote = peer();
  ASSERT_TRUE(generator.consumer(1).waitsFor("onChannelUp"));
  EXPECT_EQ(asked, worker);
}

TEST_F(Serving, KeepsThemWaitingWhileItIsStoppedAndNotStarted) {
  EXPECT_FALSE(server->start());
  listen();
  EXPECT_FALSE(server->start());
  server->kill();
  RawConnection remote = peer();
  transport->call([] {});
  EXPECT_THAT(generator.consumers(), IsEmpty());
  EXPECT_TRUE(server->start());
  EXPECT_TRUE(generator.consumer(1).waitsFor("onChannelUp"));
}

TEST_F(Serving, EndsWithItsTransportLikeEveryOtherOfIt) {
  std::vector<std::unique_ptr<Server>> servers;
  for (int i = 0; i < 20; ++i) {
    servers.push_back(serverWith(*transport));
    ASSERT_TRUE(servers.back()->startListening(loopback()));
  }
  transport.reset();
  for (const auto& each : servers) {
    EXPECT_FALSE(each->is_running());
    EXPECT_THROW(RawConnection::to(each->address()), std::system_error);
  }
}

TEST_F(Serving, WaitsForAConnectionNoLongerThanTheLimit) {
  Latch held;
  Latch released;
  std::thread holder([&] {
    transport->call([&] {
      held.open();
      EXPECT_TRUE(released.waits());
    });
  });
  ASSERT_TRUE(held.waits());
  listen();
  Socket connection;
  Address remote(0);
  Address local(0);
  const Result none = server->waitForConnection(connection, remote, local, 1);
  EXPECT_FALSE(none);
  EXPECT_THAT(none.message, HasSubstr(server->address().printInet()));
  RawConnection arriving = peer();
  EXPECT_TRUE(server->waitForConnection(connection, remote, local, 30'000));
  EXPECT_TRUE(connection.isOpen());
  EXPECT_EQ(remote, arriving.localAddress());
  EXPECT_EQ(local, server->address());
  server->stop();
  EXPECT_FALSE(server->waitForConnection(connection, remote, local, -1));
  released.open();
  holder.join();
}

int optionOf(const Socket& socket, int level, int name) {
  int value = -1;
  socklen_t size = sizeof value;
  EXPECT_EQ(::getsockopt(socket.number(), level, name, &value, &size), 0);
  return value;
}

TEST_F(Serving, GivesAcceptedSocketsItsOptionsBeforeTheConsumerIsTold) {
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
  RawConnection remote = peer();
  EXPECT_TRUE(told.waits());
  server.reset();
}

TEST_F(Serving, TellsItsCallbackOfTheListeningSocketOnTheCallingThread) {
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

TEST_F(Serving, ListensOnASocketOfTheFactory) {
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
    RawConnection remote = peer();
    EXPECT_TRUE(generator.consumer(1).waitsFor("onChannelUp"));
    EXPECT_EQ(factory.made, 1);
    server.reset();
  }
}

TEST_F(Serving, KeepsItsNameAndPrintsAsAThread) {
  EXPECT_EQ(server->name(), "server");
  std::ostringstream text;
  server->print(text);
  EXPECT_THAT(text.str(), HasSubstr("server"));
}

}  // namespace
}  // namespace tovik
