#include <gmock/gmock.h>
#include <tovik/worker_thread.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <vector>

#include "placed_transport.h"
#include "server_fixture.h"
#include "support/descriptor_limit.h"

namespace tovik {
namespace {

using testing_support::Awaited;
using testing_support::LoopbackSocket;
using testing_support::PlacedTransport;

/// A server in a process without free descriptors: one connection waits, and each attempt to accept it is logged.
class Shortage : public testing_support::ServerTest {
 protected:
  using Counts = std::vector<unsigned long long>;

  void SetUp() override {
    if (!testing_support::descriptorsMayRunOut()) GTEST_SKIP() << "the sanitizer needs descriptors";
    server = serverWith(placed.transport);
    listen();
  }
  void TearDown() override { server.reset(); }

  /// The wake-ups of the worker so far at each of that many attempts, all of which fail.
  Counts wakeUpsAtAttempts(unsigned long attempts) {
    Awaited<Counts> counts;
    // Waits for the first turn, so not to be asked for in the handler.
    const WorkerThread& worker = placed.worker();
    const auto handler = qk::logging::AddHandler([&](const qk::logging::Record& /*record*/) {
      counts.change([&](Counts& all) { all.push_back(worker.statistics().wake_ups); });
    });
    LoopbackSocket waiting = LoopbackSocket::unconnected();
    {
      const testing_support::NoMoreDescriptors none;
      waiting.connect(server->address());
      EXPECT_TRUE(counts.waitUntil([attempts](const Counts& all) { return all.size() >= attempts; }));
    }
    EXPECT_TRUE(generator.consumer(1).waitsFor("onChannelUp"));
    EXPECT_TRUE(qk::logging::RemoveHandler(handler));
    Counts all = counts.get();
    all.resize(attempts);
    return all;
  }

  PlacedTransport placed{dispatcher.get()};
};

/// Asks for a turn in each turn.
class Busy final : public EventHandler, public std::enable_shared_from_this<Busy> {
 public:
  explicit Busy(WorkerThread& worker) : worker_(worker) {}
  void onReady(unsigned /*events*/) override {
    if (!enough) worker_.schedule(shared_from_this());
  }
  std::atomic<bool> enough = false;

 private:
  WorkerThread& worker_;
};

TEST_F(Shortage, LetsTheWorkerSleepBetweenTwoAttempts) {
  const Counts counts = wakeUpsAtAttempts(3);
  // One for the timer that ends the pause, one for the connection, and some because a wait may end early.
  for (unsigned long i = 1; i < counts.size(); ++i) EXPECT_LE(counts[i] - counts[i - 1], 5U);
}

// The connection still waits: without a pause every turn would try again.
TEST_F(Shortage, LetsTheWorkerDoManyTurnsOfOtherWorkBetweenTwoAttempts) {
  const auto busy = std::make_shared<Busy>(placed.worker());
  placed.worker().schedule(busy);
  const Counts counts = wakeUpsAtAttempts(5);
  busy->enough = true;
  // One pause of several is enough: a busy machine may sleep through the others.
  unsigned long long most = 0;
  for (unsigned long i = 1; i < counts.size(); ++i) most = std::max(most, counts[i] - counts[i - 1]);
  EXPECT_GE(most, 20U);
}

}  // namespace
}  // namespace tovik
