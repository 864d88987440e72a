#include <gmock/gmock.h>
#include <tovik/dispatch_store.h>
#include <tovik/worker_thread.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "placed_transport.h"
#include "server_fixture.h"
#include "support/rest.h"
#include "support/watchdog.h"

// A worker waits inside a handler for another worker, which calls the first one: neither waits forever.

namespace tovik {
namespace {

using testing_support::Awaited;
using testing_support::Generator;
using testing_support::Latch;
using testing_support::loopback;
using testing_support::LoopbackSocket;
using testing_support::othersComeToRest;
using testing_support::PlacedTransport;
using testing_support::ScopedDispatcher;

class MutualWait : public testing_support::LeakCheckedTest {
 protected:
  /// Run by the other worker in its handler while the first one waits for it or is about to.
  void callBack() {
    inside.open();
    EXPECT_TRUE(waiting.waits());
    first->transport.call([this] { called = true; });
    calledBack.open();
  }
  /// Waits in a handler of the first worker, once the other worker is inside its own.
  void waitThere(const std::function<void()>& wait) {
    Latch done;
    first->worker().post([&] {
      EXPECT_TRUE(inside.waits());
      waiting.open();
      wait();
      done.open();
    });
    EXPECT_TRUE(done.waits());
  }

  /// The generator of a server on the other worker calls the first one, which stops the server.
  void stopTheServer(int limit_ms) {
    const ScopedDispatcher otherDispatcher("other");
    PlacedTransport other(otherDispatcher.get());
    Generator generator;
    generator.act = [this] { callBack(); };
    generator.refuses = true;
    Server server(other.transport, Protocol::tcp, &generator, "server", false, nullptr, nullptr);
    ASSERT_TRUE(server.startListening(loopback()));
    LoopbackSocket remote = LoopbackSocket::connected(server.address());
    waitThere([&] {
      EXPECT_TRUE(server.stopListening(limit_ms));
      EXPECT_TRUE(called);
    });
  }

  const testing_support::Watchdog watchdog;
  testing_support::LogCapture log{30};
  Latch inside;
  Latch waiting;
  Latch calledBack;
  bool called = false;  // on the first worker
  const ScopedDispatcher firstDispatcher{"first"};
  std::optional<PlacedTransport> first{firstDispatcher.get()};
};

// The wait for the generator served nobody.
TEST_F(MutualWait, EndsBetweenAStoppingServerAndItsGenerator) { stopTheServer(-1); }

// The same, and so the limit passed.
TEST_F(MutualWait, EndsBetweenAServerThatStopsWithALimitAndItsGenerator) { stopTheServer(5000); }

TEST_F(MutualWait, OfAStoppingServerLastsUntilTheGeneratorReturns) {
  const ScopedDispatcher otherDispatcher("other");
  PlacedTransport other(otherDispatcher.get());
  Generator generator;
  bool returns = false;
  generator.act = [&] {
    inside.open();
    EXPECT_TRUE(othersComeToRest([this] { return waiting.isOpen(); }));
    first->transport.call([this] { called = true; });
    returns = true;
  };
  generator.refuses = true;
  Server server(other.transport, Protocol::tcp, &generator, "server", false, nullptr, nullptr);
  ASSERT_TRUE(server.startListening(loopback()));
  LoopbackSocket remote = LoopbackSocket::connected(server.address());
  waitThere([&] {
    EXPECT_TRUE(server.stopListening(-1));
    EXPECT_TRUE(called);
    EXPECT_TRUE(returns);
  });
}

// The wait for the thread's end served nobody.
TEST_F(MutualWait, EndsBetweenARemovalAndATaskOfTheWorker) {
  ASSERT_TRUE(DispatchStore::inst().add("other", 1));
  WorkerThread& other = PlacedTransport(DispatchStore::inst().fetch("other")).worker();
  other.post([this] { callBack(); });
  waitThere([&] {
    EXPECT_TRUE(DispatchStore::inst().remove("other"));
    EXPECT_TRUE(calledBack.isOpen());
  });
}

TEST_F(MutualWait, EndsBetweenARemovalAndATaskThatHasAlreadyCalled) {
  ASSERT_TRUE(DispatchStore::inst().add("other", 1));
  WorkerThread& other = PlacedTransport(DispatchStore::inst().fetch("other")).worker();
  other.post([this] { callBack(); });
  waitThere([&] {
    EXPECT_TRUE(othersComeToRest([] { return true; }));
    EXPECT_TRUE(DispatchStore::inst().remove("other"));
    EXPECT_TRUE(calledBack.isOpen());
  });
}

TEST_F(MutualWait, EndsBetweenTwoTasksThatRemoveEachOthersDispatchers) {
  const ScopedDispatcher changesTheStoreInTheEnd("last");
  Awaited<int> tasks;
  Awaited<int> done;
  const auto removing = [&](const std::string& removed) {
    return [&, removed] {
      tasks.change([](int& count) { ++count; });
      EXPECT_TRUE(tasks.waitUntil([](int count) { return count == 2; }));
      EXPECT_TRUE(DispatchStore::inst().remove(removed));
      done.change([](int& count) { ++count; });
    };
  };
  ASSERT_TRUE(DispatchStore::inst().add("one", 1));
  ASSERT_TRUE(DispatchStore::inst().add("other", 1));
  WorkerThread& one = PlacedTransport(DispatchStore::inst().fetch("one")).worker();
  WorkerThread& other = PlacedTransport(DispatchStore::inst().fetch("other")).worker();
  one.post(removing("other"));
  other.post(removing("one"));
  EXPECT_TRUE(done.waitUntil([](int count) { return count == 2; }));
}

// The wait for the connections' end served nobody, and so the limit passed.
TEST_F(MutualWait, EndsBetweenADeactivationWithALimitAndAHandler) {
  const ScopedDispatcher otherDispatcher("other");
  PlacedTransport other(otherDispatcher.get());
  other.worker().post([this] { callBack(); });
  waitThere([&] { EXPECT_TRUE(other.transport.deactivateAllConduits(5000)); });
}

// This one has always been served.
TEST_F(MutualWait, EndsBetweenADeactivationWithoutALimitAndAHandler) {
  const ScopedDispatcher otherDispatcher("other");
  PlacedTransport other(otherDispatcher.get());
  other.worker().post([this] { callBack(); });
  waitThere([&] { EXPECT_TRUE(other.transport.deactivateAllConduits(-1)); });
}

}  // namespace
}  // namespace tovik
