#include <gmock/gmock.h>
#include <tovik/channel.h>

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "connections.h"
#include "placed_transport.h"
#include "support/latch.h"

// Several threads change the same objects at once. These tests are mainly for ThreadSanitizer.

namespace tovik {
namespace {

using testing_support::Awaited;
using testing_support::isWholeLife;
using testing_support::Latch;
using testing_support::LoopbackSocket;
using testing_support::Recorder;
using testing_support::ScopedDispatcher;

class ConcurrentUse : public testing_support::Connections {
 protected:
  static constexpr int rounds = 200;
  /// Runs an act repeatedly on another thread while a second act runs on this one.
  static void beside(const std::function<void()>& act, const std::function<void()>& here) {
    std::atomic<bool> enough = false;
    std::thread other([&] {
      while (!enough) act();
    });
    here();
    enough = true;
    other.join();
  }

  LoopbackSocket patient = LoopbackSocket::listening(testing_support::loopback(),
                                                     10 * rounds);  // its queue has room for every connection of a test
};

TEST_F(ConcurrentUse, AddsAndRemovesDispatchersWhileAnotherHasTransports) {
  const auto change = [] { const ScopedDispatcher passing("passing", 2); };
  beside(change, [this] {
    for (int round = 0; round < rounds; ++round) {
      Recorder& own = another();
      const auto brief = transportWith();
      LoopbackSocket remote = peerOf(*brief, own);
      remote.send("x");
      EXPECT_TRUE(own.waitsForData(1));
    }
  });
  for (const Recorder& recorder : others) EXPECT_TRUE(isWholeLife(recorder.events()));
}

TEST_F(ConcurrentUse, RemovesADispatcherWhileItsTransportsAreDestroyed) {
  DispatchStore& store = DispatchStore::inst();
  for (int round = 0; round < rounds; ++round) {
    ASSERT_TRUE(store.add("leaving", 2));
    std::deque<std::unique_ptr<Transport>> transports;
    for (int i = 0; i < 3; ++i)
      transports.push_back(std::make_unique<Transport>(store.fetch("leaving"), Traits(), nullptr, nullptr,
                                                       std::tr1::function<void(WorkerThread*)>(), "passing"));
    std::thread remover([&store] { EXPECT_TRUE(store.remove("leaving")); });
    transports.clear();
    remover.join();
  }
  const ScopedDispatcher last("last");  // the next change of the store destroys the removed ones
}

TEST_F(ConcurrentUse, ConnectsOnTwoThreadsWhileAnotherEndsAllConnections) {
  std::deque<Recorder> recorders(2 * rounds);
  const auto connectAll = [&](unsigned long first) {
    for (unsigned long i = first; i < recorders.size(); i += 2)
      EXPECT_TRUE(connect(*transport, recorders[i], patient.address()));
  };
  beside([this] { EXPECT_TRUE(transport->deactivateAllConduits(-1)); },
         [&] {
           std::thread even([&] { connectAll(0); });
           connectAll(1);
           even.join();
         });
  EXPECT_TRUE(transport->deactivateAllConduits(-1));
  for (const Recorder& recorder : recorders) EXPECT_TRUE(isWholeLife(recorder.events()));
  const auto told = transport->statistics();
  EXPECT_EQ(told.started, recorders.size());
  EXPECT_EQ(told.open(), 0U);
  transport.reset();
}

/// A consumer of several connections at a time. onNewSocket returns once that many threads are in it.
class Shared final : public Consumer, public CharHandler {
 public:
  Shared(int connecting, Awaited<int>& destroyed) : connecting_(connecting), destroyed_(destroyed) {}
  ~Shared() override {
    destroyed_.change([](int& count) { ++count; });
  }

  void onNewSocket(Socket& /*socket*/) override {
    if (++inside_ == connecting_) allInside.open();
    EXPECT_TRUE(allInside.waits());
  }
  bool getDataAggregator(Channel* channel, DataAggregator*& aggregator) override {
    aggregator = new SimpleAggregator(channel, this);
    return true;
  }
  void onNewConduit(Conduit* /*conduit*/) override { ++events; }
  void onChannelUp(Channel* /*channel*/) override { ++events; }
  void onChannelDown(Channel* /*channel*/, int /*direction*/) override { ++events; }
  void onConduitInactive(Conduit* /*conduit*/) override { ++events; }
  void onData(Channel* /*channel*/, const char* /*data*/, unsigned long /*size*/, Multicast* /*multicast*/) override {}

  Latch allInside;
  int events = 0;  // used by the worker only; the sanitizers detect an event after the consumer's destruction

 private:
  const int connecting_;
  std::atomic<int> inside_ = 0;
  Awaited<int>& destroyed_;
};

TEST_F(ConcurrentUse, ConnectsOneConsumerOnTwoThreadsWhileAnotherRetiresIt) {
  Awaited<int> destroyed;
  for (int round = 1; round <= rounds; ++round) {
    auto* const shared = new Shared(2, destroyed);
    const auto connectIt = [&] {
      const Result result = connect(*transport, *shared, patient.address());
      EXPECT_TRUE(result || result.message == "the consumer of client is retired") << result.message;
    };
    std::thread one(connectIt);
    std::thread two(connectIt);
    EXPECT_TRUE(shared->allInside.waits());
    // At a different moment each time: before, between or after the connects.
    for (int i = 0; i < round % 40; ++i) std::this_thread::yield();
    transport->retire(shared);
    one.join();
    two.join();
    ASSERT_TRUE(destroyed.waitUntil([round](int count) { return count == round; })) << round;
  }
}

}  // namespace
}  // namespace tovik
