#include <gmock/gmock.h>
#include <sys/mman.h>
#include <tovik/channel.h>
#include <tovik/client.h>
#include <tovik/server.h>
#include <tovik/sockbuf.h>
#include <unistd.h>

#include <algorithm>
#include <deque>
#include <memory>
#include <new>
#include <optional>
#include <ostream>
#include <string>

#include "connections.h"
#include "support/failing_calls.h"
#include "support/fake_channel.h"
#include "support/heap.h"
#include "support/latch.h"

namespace tovik {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing_support::FailingCalls;
using testing_support::heapInUse;
using testing_support::heapIsOurs;
using testing_support::isWholeLife;
using testing_support::loopback;
using testing_support::LoopbackSocket;
using testing_support::Recorder;
using testing_support::ScarceMemory;

std::unique_ptr<Transport> transportOn(DispatchGenerator* dispatcher, const Traits& traits = {}) {
  return std::make_unique<Transport>(dispatcher, traits, nullptr, nullptr, std::tr1::function<void(WorkerThread*)>(),
                                     "transport");
}

/// Does something with 0, 1, 2 … allocations granted to this thread, until they suffice.
template <class Act>
void withEverMoreMemory(Act&& act) {
  if (!heapIsOurs()) GTEST_SKIP() << "the sanitizer's operator new cannot be replaced";
  for (int granted = 0; granted < 1000; ++granted) {
    act(granted);
    if (!testing_support::allocationsWereRefused()) return;
  }
  FAIL() << "a thousand allocations do not suffice";
}

class ScarceSockbuf : public ::testing::Test {
 protected:
  testing_support::FakeChannel channel;
  SendDestination destination{&channel};
};

TEST_F(ScarceSockbuf, LosesTheWholePieceAndEndsTheConnection) {
  if (!heapIsOurs()) GTEST_SKIP() << "the sanitizer's operator new cannot be replaced";
  const std::string text(600, 'x');
  {
    sockbuf buffer(destination, nullptr);
    std::ostream out(&buffer);
    const ScarceMemory none(0);
    out << text;
    EXPECT_TRUE(out.bad());
  }
  EXPECT_THAT(channel.sent(), IsEmpty());
  EXPECT_FALSE(channel.delivers());
}

TEST_F(ScarceSockbuf, SendsNothingAnyMoreOnceAPieceIsLost) {
  if (!heapIsOurs()) GTEST_SKIP() << "the sanitizer's operator new cannot be replaced";
  const std::string text(600, 'x');
  {
    sockbuf buffer(destination, nullptr);
    std::ostream out(&buffer);
    {
      const ScarceMemory none(0);
      out << text << std::flush;
    }
    out.clear();
    out << "more" << std::flush;
  }
  EXPECT_THAT(channel.sent(), IsEmpty());
}

TEST_F(ScarceSockbuf, NeedsNoMemoryForAShortText) {
  {
    sockbuf buffer(destination, nullptr);
    std::ostream out(&buffer);
    const ScarceMemory none(0);
    out << "short";
  }
  EXPECT_THAT(channel.sent(), ElementsAre("short"));
}

class ScarceMemoryTest : public testing_support::Connections {};

TEST_F(ScarceMemoryTest, FailsAConnectionWithoutAnEvent) {
  withEverMoreMemory([this](int granted) {
    Recorder& attempt = another();
    Client client(*transport, Protocol::tcp, attempt, "a name that is longer than a short string", false, nullptr);
    Result result;
    {
      const ScarceMemory little(granted);
      result = client.setup_and_connect(listener.address(), Address(0), -1);
    }
    if (result) {
      EXPECT_TRUE(attempt.waitsFor("onChannelUp"));
    } else {
      EXPECT_EQ(result.message, "out of memory");
      transport->call([] {});
      EXPECT_THAT(attempt.events(), IsEmpty());
    }
    EXPECT_EQ(result.ok, !testing_support::allocationsWereRefused());
  });
}

// Each consumer whose connection was refused was remembered by its transport.
TEST_F(ScarceMemoryTest, IsNotUsedUpByConsumersWhoseConnectionsAreRefused) {
  const Address nobody = listener.address();
  listener.close();
  for (int i = 0; i < 100; ++i) another();
  EXPECT_FALSE(connect(*transport, consumer, nobody));
  const long before = heapInUse().blocks;
  for (Recorder& each : others) EXPECT_FALSE(connect(*transport, each, nobody));
  EXPECT_EQ(heapInUse().blocks, before);
}

TEST_F(ScarceMemoryTest, FailsATransportAndLeavesItsWorkerFree) {
  withEverMoreMemory([this](int granted) {
    DispatchGenerator* const generator = dispatcher.get();
    const std::string name = "a name that is longer than a short string";
    std::optional<Transport> made;
    const ScarceMemory little(granted);
    try {
      made.emplace(generator, Traits(), nullptr, nullptr, std::tr1::function<void(WorkerThread*)>(), name);
    } catch (const std::bad_alloc&) {
    }
    EXPECT_EQ(made.has_value(), !testing_support::allocationsWereRefused());
  });
}

TEST_F(ScarceMemoryTest, FailsADispatcherAndLeavesItsNameFree) {
  withEverMoreMemory([](int granted) {
    const std::string name = "a name that is longer than a short string";
    bool added = false;
    try {
      const ScarceMemory little(granted);
      added = static_cast<bool>(DispatchStore::inst().add(name, 2));
    } catch (const std::bad_alloc&) {
    }
    EXPECT_EQ(DispatchStore::inst().fetch(name) != nullptr, added);
    EXPECT_EQ(static_cast<bool>(DispatchStore::inst().remove(name)), added);
  });
}

/// Gives recorders that outlive the transport.
class Givers final : public ConsumerGenerator {
 public:
  Consumer* getConsumer() override { return &consumers.emplace_back(); }
  std::deque<Recorder> consumers;
};

// It stayed in the store with ended workers, or left a null entry there.
TEST_F(ScarceMemoryTest, IsNotNeededToRemoveADispatcher) {
  if (!heapIsOurs()) GTEST_SKIP() << "the sanitizer's operator new cannot be replaced";
  const std::string used = "used";
  const std::string unused = "unused";
  ASSERT_TRUE(DispatchStore::inst().add(used, 1));
  ASSERT_TRUE(DispatchStore::inst().add(unused, 1));
  auto user = transportOn(DispatchStore::inst().fetch(used));
  {
    const ScarceMemory none(0);
    EXPECT_TRUE(DispatchStore::inst().remove(used));
    EXPECT_TRUE(DispatchStore::inst().remove(unused));
  }
  EXPECT_EQ(DispatchStore::inst().fetch(used), nullptr);
  EXPECT_EQ(DispatchStore::inst().fetch(unused), nullptr);
  bool goesOn = false;
  user->call([&goesOn] { goesOn = true; });
  EXPECT_TRUE(goesOn);
  user.reset();
  const testing_support::ScopedDispatcher next("next");
}

TEST_F(ScarceMemoryTest, FailsAListenerWhichListensLater) {
  Givers givers;
  withEverMoreMemory([&](int granted) {
    Server server(*transport, Protocol::tcp, &givers, "a name that is longer than a short string", false, nullptr,
                  nullptr);
    Result result;
    {
      const ScarceMemory little(granted);
      result = server.startListening(loopback());
    }
    EXPECT_EQ(result.ok, !testing_support::allocationsWereRefused());
    if (!result) {
      EXPECT_EQ(result.message, "out of memory");
      EXPECT_FALSE(server.is_running());
      EXPECT_TRUE(server.startListening(loopback())) << granted;
    }
    EXPECT_TRUE(server.stopListening(-1));
  });
  transport.reset();
}

TEST_F(ScarceMemoryTest, EndsAConnectionWhoseOutputCannotBeKept) {
  if (!heapIsOurs()) GTEST_SKIP() << "the sanitizer's operator new cannot be replaced";
  LoopbackSocket remote = peerWhenUp();
  const std::string much(16UL << 20U, 'x');
  {
    const ScarceMemory none(0);
    consumer.channel()->send(much.data(), much.size());
  }
  ASSERT_TRUE(consumer.waitsFor("onConduitInactive"));
  EXPECT_EQ(consumer.heard()->count("onChannelDown failed"), 1);
  EXPECT_LT(remote.receiveToEnd().size(), much.size());
}

/// A consumer that needs no memory of its own but for its aggregator.
class Lean final : public Consumer, public CharHandler {
 public:
  bool getDataAggregator(Channel* channel, DataAggregator*& aggregator) override {
    aggregator = new SimpleAggregator(channel, this);
    return true;
  }
  void onChannelUp(Channel* channel) override { channel->send("hello", 5); }
  void onData(Channel* channel, const char* /*data*/, unsigned long /*size*/, Multicast* /*multicast*/) override {
    channel->bringDown();
  }
  void onChannelDown(Channel* /*channel*/, int /*direction*/) override {}
  void onConduitInactive(Conduit* /*conduit*/) override {}
};

TEST_F(ScarceMemoryTest, OnTheWorkerEndsAConnectionAndNothingElse) {
  if (!heapIsOurs()) GTEST_SKIP() << "the sanitizer's operator new cannot be replaced";
  bool refused = true;
  for (int granted = 0; refused && granted < 100; ++granted) {
    Lean lean;
    auto own = transportOn(dispatcher.get());
    LoopbackSocket neighbour = peer();
    ASSERT_TRUE(consumer.waitsFor("onChannelUp", granted + 1));
    own->call([granted] { testing_support::grantAllocations(granted); });
    LoopbackSocket remote = peerOf(*own, lean);
    remote.send("x");
    const std::string greeting = remote.receiveToEnd();
    own->call([&] {
      refused = testing_support::allocationsWereRefused();
      testing_support::grantAllocationsFreely();
    });
    EXPECT_TRUE(refused || greeting == "hello") << granted;
    own.reset();
    neighbour.send("x");
    EXPECT_TRUE(consumer.waitsForData(static_cast<unsigned long>(granted) + 1));
    neighbour.close();
    ASSERT_TRUE(consumer.waitsFor("onConduitInactive", granted + 1));
  }
  EXPECT_FALSE(refused);
}

class MemoryInUse : public testing_support::Connections {
 protected:
  void SetUp() override {
    if (!heapIsOurs()) GTEST_SKIP() << "the sanitizer's operator new cannot be replaced";
  }
};

TEST_F(MemoryInUse, DoesNotGrowWithTheConnectionsOfATransport) {
  const auto connectAndRetire = [this] {
    auto* const fresh = new Recorder;
    const auto heard = fresh->heard();
    LoopbackSocket remote = peerOf(*fresh);
    remote.send("x");
    ASSERT_TRUE(heard->waitsFor("data"));
    transport->retire(fresh);
    ASSERT_TRUE(heard->waitsFor("destroyed"));
    transport->call([] {});
  };
  for (int i = 0; i < 10; ++i) connectAndRetire();
  const long before = heapInUse().bytes;
  for (int i = 0; i < 500 && !HasFatalFailure(); ++i) connectAndRetire();
  EXPECT_LT(heapInUse().bytes - before, 20'000);
}

// What had been handed to the kernel was kept until the queue was empty, which it never was.
TEST_F(MemoryInUse, DoesNotGrowWhileOutputFlowsThatNeverDrains) {
  constexpr unsigned long piece = 1UL << 20U;
  constexpr unsigned long waiting = 16;
  LoopbackSocket remote = peerWhenUp();
  const std::string bytes(piece, 'x');
  const auto send = [&] { consumer.channel()->send(bytes.data(), bytes.size()); };
  for (unsigned long i = 0; i < waiting; ++i) send();
  const long before = heapInUse().bytes;
  for (unsigned long i = 0; i < 100; ++i) {
    ASSERT_EQ(remote.receive(piece).size(), piece);
    send();
  }
  transport->call([] {});
  EXPECT_LT(heapInUse().bytes - before, static_cast<long>(2 * waiting * piece));
  consumer.channel()->bringDown();
  remote.receiveToEnd();
}

/// Sends back what arrives.
class Echoes final : public ConsumerGenerator {
 public:
  Consumer* getConsumer() override {
    Recorder& recorder = consumers.emplace_back();
    recorder.when("data", [&recorder, sent = std::make_shared<unsigned long>(0)] {
      const std::string data = recorder.data();
      recorder.channel()->send(data.data() + *sent, data.size() - *sent);
      *sent = data.size();
    });
    return &recorder;
  }
  std::deque<Recorder> consumers;
};

/// A dispatcher, a transport, a server and a client that talk to each other, from their beginning to their end. Any
/// system call may fail meanwhile.
class Life {
 public:
  Life() {
    client_.when("onChannelUp", [this] {
      client_.channel()->send("hello", 5);
      client_.channel()->sendFile(fileOf("content"), 0, 7);
    });
    client_.when("data", [this] {
      if (client_.data() == "hellocontent") client_.channel()->bringDown();
    });
  }

  void live() {
    DispatchStore& store = DispatchStore::inst();
    if (!store.add("d", 1)) return;
    Traits everyOption;
    everyOption.receive_buffer_bytes = everyOption.send_buffer_bytes = 65'536;
    converse(*transportOn(store.fetch("d"), everyOption));
    EXPECT_TRUE(store.remove("d"));
  }

  std::string answer() const { return client_.data(); }
  bool isWhole() const {
    const auto isNoneOrWhole = [](const Recorder& recorder) {
      return recorder.events().empty() || isWholeLife(recorder.events());
    };
    return isNoneOrWhole(client_) && std::all_of(echoes_.consumers.begin(), echoes_.consumers.end(), isNoneOrWhole);
  }

 private:
  static Descriptor fileOf(const std::string& content) {
    Descriptor file(::memfd_create("content", MFD_CLOEXEC));
    EXPECT_EQ(::pwrite(file.number(), content.data(), content.size(), 0), static_cast<long>(content.size()));
    return file;
  }

  void converse(Transport& transport) {
    Server server(transport, Protocol::tcp, &echoes_, "server", true, nullptr, nullptr);
    if (!server.startListening(loopback())) return;
    Client client(transport, Protocol::tcp, client_, "client", true, nullptr);
    const Result begun = client.setup_and_connect(server.address(), loopback(), -1);
    EXPECT_TRUE(!begun || client_.waitsFor("onConduitInactive"));
    EXPECT_TRUE(server.stopListening(-1));
    EXPECT_TRUE(transport.deactivateAllConduits(-1));
  }

  Recorder client_;
  Echoes echoes_;
};

class FailingSystemCalls : public testing_support::LeakCheckedTest {
 protected:
  testing_support::LogCapture log{30};
};

TEST_F(FailingSystemCalls, LoseNothingWhicheverOneItIs) {
  unsigned error = 0;
  for (int number = 0; number < 1000; ++number, error = 0) {
    for (bool failed = true; failed; ++error) {
      SCOPED_TRACE("call " + std::to_string(number) + ", error " + std::to_string(error));
      const auto before = testing_support::heldAtRest();
      Life life;
      {
        const auto failing = FailingCalls::oneOnly(number, error);
        life.live();
        failed = FailingCalls::anyFailed();
      }
      EXPECT_TRUE(life.isWhole());
      EXPECT_TRUE(FailingCalls::anyHarmed() || life.answer() == "hellocontent");
      EXPECT_EQ(testing_support::heldInTheEnd(before), before);
    }
    if (error == 1) return;
  }
  FAIL() << "a life has no end of system calls";
}

TEST_F(FailingSystemCalls, MayBeLoggedToAHandlerThatDestroysTheServer) {
  const testing_support::ScopedDispatcher dispatcher("d");
  Givers givers;
  const auto transport = transportOn(dispatcher.get());
  auto server = std::make_unique<Server>(*transport, Protocol::tcp, &givers, "server", false, nullptr, nullptr);
  ASSERT_TRUE(server->startListening(loopback()));
  const std::string expected = "Tovik: server: accept on " + server->address().printInet() + ": Too many open files";
  testing_support::Latch destroyed;
  const auto handler = qk::logging::AddHandler([&](const qk::logging::Record& record) {
    EXPECT_EQ(record.text, expected);
    server.reset();
    destroyed.open();
  });
  std::unique_ptr<FailingCalls> failing;
  LoopbackSocket remote;
  transport->call([&] {
    // The worker's next calls: it waits, and accepts.
    failing.reset(new FailingCalls(FailingCalls::oneOnly(1)));
    remote = LoopbackSocket::connected(server->address());
  });
  EXPECT_TRUE(destroyed.waits());
  EXPECT_TRUE(qk::logging::RemoveHandler(handler));
}

TEST_F(FailingSystemCalls, AreRepeatedWhereASignalInterrupts) {
  Life life;
  {
    const auto interrupted = FailingCalls::interrupted();
    life.live();
  }
  EXPECT_TRUE(FailingCalls::anyFailed());
  EXPECT_TRUE(life.isWhole());
  EXPECT_EQ(life.answer(), "hellocontent");
  EXPECT_THAT(log.texts(), IsEmpty());
}

}  // namespace
}  // namespace tovik
