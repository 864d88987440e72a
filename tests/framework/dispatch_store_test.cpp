#include <gmock/gmock.h>
#include <tovik/dispatch_store.h>
#include <tovik/transport.h>
#include <tovik/worker_thread.h>

#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "placed_transport.h"
#include "support/descriptor_limit.h"
#include "support/latch.h"
#include "support/leak_check.h"
#include "support/rest.h"
#include "support/scoped_dispatcher.h"

namespace tovik {
namespace {

using testing_support::heldNow;
using testing_support::Latch;
using testing_support::PlacedTransport;
using testing_support::ScopedDispatcher;

class Store : public testing_support::LeakCheckedTest {
 protected:
  /// A removed dispatcher whose transports have gone since goes for good when the store is next changed.
  static void change() { const ScopedDispatcher another("another"); }

  DispatchStore& store = DispatchStore::inst();
};

TEST_F(Store, ReturnsNullWhileEmpty) {
  EXPECT_EQ(store.fetch("d"), nullptr);
  EXPECT_EQ(store.fetch(std::string()), nullptr);
  EXPECT_EQ(store.fetch(0UL), nullptr);
  EXPECT_EQ(store.fetch(~0UL), nullptr);
}

TEST_F(Store, FindsADispatcherByNameAndByNumberInOrderOfAdding) {
  const ScopedDispatcher first("first");
  const ScopedDispatcher second("second", 2);
  EXPECT_EQ(store.fetch("first")->name(), "first");
  EXPECT_EQ(store.fetch(0UL), store.fetch("first"));
  EXPECT_EQ(store.fetch(1UL), store.fetch("second"));
  EXPECT_EQ(store.fetch(2UL), nullptr);
  EXPECT_EQ(store.fetch("third"), nullptr);
}

TEST_F(Store, MovesNumbersDownWhenOneIsRemoved) {
  ASSERT_TRUE(store.add("first", 1));
  const ScopedDispatcher second("second");
  ASSERT_TRUE(store.remove("first"));
  EXPECT_EQ(store.fetch("first"), nullptr);
  EXPECT_EQ(store.fetch(0UL), store.fetch("second"));
  EXPECT_EQ(store.fetch(1UL), nullptr);
}

TEST_F(Store, RefusesANameThatIsTaken) {
  const ScopedDispatcher first("first");
  const DispatchGenerator* const dispatcher = first.get();
  const Result again = store.add("first", 1);
  EXPECT_FALSE(again);
  EXPECT_EQ(again.message, "dispatcher first already exists");
  EXPECT_EQ(store.fetch("first"), dispatcher);
  EXPECT_EQ(store.fetch(1UL), nullptr);
}

TEST_F(Store, AcceptsARemovedNameAgain) {
  { const ScopedDispatcher once("d"); }
  const ScopedDispatcher again("d");
  EXPECT_NE(store.fetch("d"), nullptr);
}

TEST_F(Store, RefusesADispatcherWithoutWorkers) {
  const Result result = store.add("idle", 0);
  EXPECT_FALSE(result);
  EXPECT_EQ(result.message, "dispatcher idle: no workers asked for");
  EXPECT_EQ(store.fetch("idle"), nullptr);
}

TEST_F(Store, RefusesToRemoveAnUnknownName) {
  const Result result = store.remove("unknown");
  EXPECT_FALSE(result);
  EXPECT_EQ(result.message, "no dispatcher unknown");
}

TEST_F(Store, DropsADispatcherThatRunsOutOfDescriptors) {
  if (!testing_support::descriptorsMayRunOut()) GTEST_SKIP() << "the sanitizer needs descriptors";
  {
    const testing_support::NoMoreDescriptors none;
    const Result result = store.add("d", 2);
    EXPECT_FALSE(result);
    EXPECT_EQ(result.message, "epoll_create: Too many open files");
  }
  EXPECT_EQ(store.fetch("d"), nullptr);
  const ScopedDispatcher again("d", 2);
}

TEST_F(Store, RunsAsManyThreadsAsWorkersWereAskedFor) {
  const long before = heldNow().threads;
  const ScopedDispatcher dispatcher("d", 3);
  EXPECT_EQ(heldNow().threads, before + 3);
}

TEST_F(Store, HasEndedTheWorkersOfAnUnusedDispatcherWhenRemoveReturns) {
  const auto before = heldNow();
  ASSERT_TRUE(store.add("d", 3));
  { const PlacedTransport gone(store.fetch("d")); }
  ASSERT_TRUE(store.remove("d"));
  EXPECT_EQ(testing_support::heldInTheEnd(before), before);
}

TEST_F(Store, KeepsATransportWorkingWhenItsDispatcherIsRemoved) {
  ASSERT_TRUE(store.add("d", 1));
  auto placed = std::make_unique<PlacedTransport>(store.fetch("d"));
  ASSERT_TRUE(store.remove("d"));
  EXPECT_EQ(store.fetch("d"), nullptr);
  const WorkerThread& worker = placed->worker();
  bool onWorker = false;
  placed->transport.call([&] { onWorker = worker.isCurrent(); });
  EXPECT_TRUE(onWorker);
  placed.reset();
  change();
}

TEST_F(Store, EndsTheWorkersOfARemovedDispatcherWithItsLastTransport) {
  auto before = heldNow();
  ASSERT_TRUE(store.add("d", 2));
  auto first = std::make_unique<PlacedTransport>(store.fetch("d"));
  auto last = std::make_unique<PlacedTransport>(store.fetch("d"));
  ASSERT_TRUE(store.remove("d"));
  first.reset();
  EXPECT_EQ(heldNow().threads, before.threads + 2);
  last.reset();
  // The threads end by themselves; their descriptors are closed when the store next changes.
  before.descriptors = heldNow().descriptors;
  EXPECT_EQ(testing_support::heldInTheEnd(before), before);
  change();
}

TEST_F(Store, AcceptsTheNameOfARemovedDispatcherThatIsStillInUse) {
  ASSERT_TRUE(store.add("d", 1));
  auto old = std::make_unique<PlacedTransport>(store.fetch("d"));
  ASSERT_TRUE(store.remove("d"));
  {
    const ScopedDispatcher successor("d");
    const PlacedTransport young(store.fetch("d"));
    EXPECT_NE(&old->worker(), &young.worker());
  }
  old.reset();
  change();
}

TEST_F(Store, RemovesADispatcherFromInsideAHandlerOfItsOwnWorkerThatIsInUse) {
  ASSERT_TRUE(store.add("d", 1));
  auto placed = std::make_unique<PlacedTransport>(store.fetch("d"));
  placed->transport.call([this] { EXPECT_TRUE(store.remove("d")); });
  EXPECT_EQ(store.fetch("d"), nullptr);
  bool goesOn = false;
  placed->transport.call([&goesOn] { goesOn = true; });
  EXPECT_TRUE(goesOn);
  placed.reset();
  change();
}

TEST_F(Store, RemovesADispatcherFromInsideAHandlerOfItsOwnWorkerThatServesNothing) {
  ASSERT_TRUE(store.add("d", 1));
  WorkerThread* const worker = &PlacedTransport(store.fetch("d")).worker();
  Latch removed;
  worker->post([&] {
    EXPECT_TRUE(store.remove("d"));
    removed.open();
  });
  ASSERT_TRUE(removed.waits());
  change();
}

TEST_F(Store, DestroysADispatcherWithItsTransportInsideAHandler) {
  ASSERT_TRUE(store.add("d", 1));
  auto placed = std::make_unique<PlacedTransport>(store.fetch("d"));
  WorkerThread& worker = placed->worker();
  Latch removed;
  worker.post([&] {
    EXPECT_TRUE(store.remove("d"));
    placed.reset();
    removed.open();
  });
  ASSERT_TRUE(removed.waits());
  change();
}

// If remove held the lock while it joins, the task and remove would wait for each other.
TEST_F(Store, MayBeUsedByATaskThatRunsWhileRemoveWaitsForItsWorker) {
  ASSERT_TRUE(store.add("d", 1));
  Latch used;
  WorkerThread* const worker = &PlacedTransport(store.fetch("d")).worker();
  worker->post([&] {
    // The dispatcher is out of the store and no other thread runs: remove waits for this one.
    while (store.fetch("d") != nullptr || !testing_support::othersSleep()) std::this_thread::yield();
    EXPECT_EQ(store.fetch(0UL), nullptr);
    EXPECT_TRUE(store.add("e", 1));
    EXPECT_NE(store.fetch("e"), nullptr);
    EXPECT_TRUE(store.remove("e"));
    EXPECT_FALSE(store.remove("d"));
    used.open();
  });
  EXPECT_TRUE(store.remove("d"));
  EXPECT_TRUE(used.isOpen());
}

TEST_F(Store, SpreadsTransportsOverTheWorkersThatServeTheFewest) {
  const ScopedDispatcher dispatcher("d", 3);
  std::vector<std::unique_ptr<PlacedTransport>> placed;
  std::map<WorkerThread*, int> served;
  for (int i = 0; i < 6; ++i) {
    placed.push_back(std::make_unique<PlacedTransport>(dispatcher.get()));
    ++served[&placed.back()->worker()];
  }
  EXPECT_THAT(served, ::testing::SizeIs(3));
  EXPECT_THAT(served, ::testing::Each(::testing::Field(&std::pair<WorkerThread* const, int>::second, 2)));
}

TEST_F(Store, ReusesTheWorkersThatBecameFree) {
  const ScopedDispatcher dispatcher("d", 2);
  std::vector<std::unique_ptr<PlacedTransport>> placed;
  for (int i = 0; i < 4; ++i) placed.push_back(std::make_unique<PlacedTransport>(dispatcher.get()));
  WorkerThread* const freed = &placed[1]->worker();
  EXPECT_EQ(&placed[3]->worker(), freed);
  placed[1].reset();
  placed[3].reset();
  const PlacedTransport next(dispatcher.get());
  const PlacedTransport afterwards(dispatcher.get());
  EXPECT_EQ(&next.worker(), freed);
  EXPECT_EQ(&afterwards.worker(), freed);
}

TEST_F(Store, ServesManyThreadsAtOnce) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([this, name = std::string(1, static_cast<char>('a' + i))] {
      for (int round = 0; round < 20; ++round) {
        const ScopedDispatcher dispatcher(name);
        const PlacedTransport placed(dispatcher.get());
        EXPECT_NE(store.fetch(0UL), nullptr);
      }
    });
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(store.fetch(0UL), nullptr);
}

}  // namespace
}  // namespace tovik
