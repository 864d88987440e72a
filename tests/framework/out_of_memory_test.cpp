#include <gmock/gmock.h>
#include <tovik/channel.h>
#include <tovik/client.h>
#include <tovik/server.h>

#include <memory>
#include <new>
#include <optional>
#include <string>

#include "connections.h"
#include "server_fixture.h"
#include "support/heap.h"

namespace tovik {
namespace {

using ::testing::IsEmpty;
using testing_support::heapIsOurs;
using testing_support::loopback;
using testing_support::LoopbackSocket;
using testing_support::Recorder;
using testing_support::ScarceMemory;
using testing_support::transportOn;

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

class OutOfMemory : public testing_support::Connections {};

TEST_F(OutOfMemory, FailsAConnectionWithoutAnEvent) {
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

TEST_F(OutOfMemory, FailsATransportAndLeavesItsWorkerFree) {
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

TEST_F(OutOfMemory, FailsADispatcherAndLeavesItsNameFree) {
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

// It stayed in the store with ended workers, or left a null entry there.
TEST_F(OutOfMemory, DoesNotPreventTheRemovalOfADispatcher) {
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

TEST_F(OutOfMemory, FailsAListenerWhichListensLater) {
  testing_support::Generator generator;
  withEverMoreMemory([&](int granted) {
    Server server(*transport, Protocol::tcp, &generator, "a name that is longer than a short string", false, nullptr,
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

TEST_F(OutOfMemory, EndsAConnectionWhoseOutputCannotBeQueued) {
  if (!heapIsOurs()) GTEST_SKIP() << "the sanitizer's operator new cannot be replaced";
  LoopbackSocket remote = peerWhenUp();
  const std::string much(16UL << 20U, 'x');
  {
    const ScarceMemory none(0);
    consumer.channel()->send(much.data(), much.size());
  }
  ASSERT_TRUE(consumer.waitsFor("onConduitInactive"));
  EXPECT_EQ(consumer.eventLog()->count("onChannelDown failed"), 1);
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

TEST_F(OutOfMemory, OnTheWorkerEndsAConnectionAndNothingElse) {
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

}  // namespace
}  // namespace tovik
