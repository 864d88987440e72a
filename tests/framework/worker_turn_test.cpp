#include <poll.h>
#include <tovik/worker_thread.h>

#include <atomic>
#include <functional>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "connections.h"
#include "placed_transport.h"
#include "support/latch.h"
#include "support/rest.h"
#include "support/watchdog.h"

// A turn of a worker runs only the calls that were waiting when it started. However many threads call, its connections,
// timers and tasks are served.

namespace tovik {
namespace {

using testing_support::Latch;
using testing_support::LoopbackSocket;
using testing_support::PlacedTransport;
using testing_support::Recorder;

constexpr int callingThreads = 16;

class ActingHandler final : public EventHandler {
 public:
  void onReady(unsigned /*events*/) override { act(); }
  void onTimer() override { act(); }
  std::function<void()> act;
};

/// As many calls as there are callers wait whenever one has run: a worker that ran calls until none is left would never
/// finish.
class FloodOfCalls : public testing_support::Connections {
 protected:
  /// Calls until the awaited event has happened the given number of times, or has failed to follow all calls that were
  /// waiting.
  void call(const std::function<void()>& inEach) {
    std::vector<std::thread> threads;
    for (int i = 0; i < callingThreads; ++i)
      threads.emplace_back([&] {
        while (!over) placed.worker().call([&] { runCall(inEach); });
      });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(came, rounds);
  }
  /// Called when the awaited event has happened, or is known to be ready from now on.
  void comes() {
    callsSince = 0;
    if (++came == rounds) over = true;
  }

  static constexpr int rounds = 10;

  const testing_support::Watchdog watchdog;
  PlacedTransport placed{dispatcher.get()};
  std::atomic<bool> over{false};

  // Used by the worker only.
  int callsSince = 0;
  int came = 0;

 private:
  void runCall(const std::function<void()>& inEach) {
    if (over) return;
    // Until then the other callers may be about to call again.
    EXPECT_TRUE(testing_support::othersComeToRest([] { return true; }));
    inEach();
    EXPECT_LE(++callsSince, callingThreads);
    if (callsSince > callingThreads) over = true;
  }
};

// Calls ran until none was left, and with so many callers there always was one.
TEST_F(FloodOfCalls, DoesNotStarveTasks) {
  const auto handler = std::make_shared<ActingHandler>();
  const auto arm = [&] { placed.worker().schedule(handler); };
  handler->act = [&] {
    comes();
    if (!over) arm();
  };
  call([&, first = true]() mutable {
    if (std::exchange(first, false)) arm();
  });
  handler->act = [] {};
}

// The same.
TEST_F(FloodOfCalls, DoesNotStarveTimers) {
  ActingHandler handler;
  const auto arm = [&] { placed.worker().timers().add(placed.worker().now(), handler); };
  handler.act = [&] {
    comes();
    if (!over) arm();
  };
  call([&, first = true]() mutable {
    if (std::exchange(first, false)) arm();
  });
}

// The same.
TEST_F(FloodOfCalls, DoesNotStarveConnections) {
  int descriptor = -1;
  consumer.socketAct = [&](Socket& socket) { descriptor = socket.number(); };
  LoopbackSocket remote = peerOf(placed.transport, consumer);
  ASSERT_TRUE(consumer.waitsFor("onChannelUp"));
  bool ready = false;
  consumer.when("data", [&] {
    ready = false;
    comes();
  });
  call([&] {
    if (ready) return;
    // From now on the connection is ready, and the worker only has to poll.
    remote.send("x");
    pollfd arrival{descriptor, POLLIN, 0};
    EXPECT_EQ(::poll(&arrival, 1, 30'000), 1);
    ready = true;
    callsSince = 0;
  });
}

}  // namespace
}  // namespace tovik
