#include <gmock/gmock.h>
#include <tovik/server.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "server_fixture.h"
#include "support/failing_calls.h"
#include "support/heap.h"
#include "support/rest.h"
#include "support/watchdog.h"

// A listener that runs out of descriptors pauses, and accepts again later.

namespace tovik {
namespace {

using testing_support::FailingAllocation;
using testing_support::FailingCalls;
using testing_support::Latch;
using testing_support::loopback;
using testing_support::LoopbackSocket;
using testing_support::othersComeToRest;
using testing_support::Recorder;
using testing_support::ServerTest;
using testing_support::SparedMemory;

/// Does something before it accepts.
class ActingServer final : public Server {
 public:
  using Server::Server;
  ~ActingServer() override { static_cast<void>(Server::stopListening(-1)); }
  void run(const volatile bool& stopping) override {
    if (before) before();
    Server::run(stopping);
  }
  std::function<void()> before;
};

class PausedServer : public ServerTest {
 protected:
  ~PausedServer() override { server.reset(); }

  /// Connects, and makes the worker's system call with the given number, counted from 0, fail: the accept.
  void isRefused(int number = 0) {
    EXPECT_TRUE(othersComeToRest([] { return true; }));
    const auto failing = FailingCalls::oneOnly(number);
    const long before = log.countContaining(refusal);
    remote = peer();
    EXPECT_TRUE(othersComeToRest([&] { return log.countContaining(refusal) > before; }));
  }
  static void restart(Server& listening) {
    listening.stop();
    EXPECT_TRUE(listening.start());
  }
  /// Returns when the pause, if there still is one, is over.
  void endPause() { clock.advance(pause, *transport); }
  void expectToAccept() {
    EXPECT_TRUE(generator.consumer(1).waitsFor("onChannelUp"));
    LoopbackSocket next = peer();
    EXPECT_TRUE(generator.consumer(2).waitsFor("onChannelUp"));
  }

  static constexpr std::chrono::milliseconds pause{100};
  const std::string refusal = "Too many open files";
  const testing_support::Watchdog watchdog;
  LoopbackSocket remote;
};

TEST_F(PausedServer, AcceptsAgainWhenItsPauseIsOverAndNotEarlier) {
  listen();
  isRefused();
  clock.advance(pause - clock.tick, *transport);
  EXPECT_TRUE(generator.consumers().empty());
  clock.advance(clock.tick, *transport);
  expectToAccept();
}

TEST_F(PausedServer, AcceptsAgainWhenItIsRestartedOnTheWorker) {
  listen();
  isRefused();
  transport->call([this] { restart(*server); });
  endPause();
  expectToAccept();
}

TEST_F(PausedServer, AcceptsAgainWhenItIsRestartedOnAnotherThread) {
  listen();
  isRefused();
  restart(*server);
  endPause();
  expectToAccept();
}

TEST_F(PausedServer, AcceptsAgainWhenTheLogHandlerOfTheRefusalRestartsIt) {
  listen();
  const auto handler = qk::logging::AddHandler([this](const qk::logging::Record& /*record*/) { restart(*server); });
  isRefused();
  endPause();
  expectToAccept();
  EXPECT_TRUE(qk::logging::RemoveHandler(handler));
}

// The turn that its stop had requested cancelled the timer of the pause that started in between.
TEST_F(PausedServer, AcceptsAgainWhenItIsRestartedJustBeforeAccepting) {
  auto restarting =
      std::make_unique<ActingServer>(*transport, Protocol::tcp, &generator, "server", false, nullptr, nullptr);
  bool restarted = false;
  restarting->before = [this, &restarted] {
    if (!std::exchange(restarted, true)) restart(*server);
  };
  server = std::move(restarting);
  listen();
  // The restart makes system call 0.
  isRefused(1);
  endPause();
  expectToAccept();
}

// The same.
TEST_F(PausedServer, AcceptsAgainWhenTheLogHandlerOfAnotherRefusalRestartsItJustBeforeAccepting) {
  auto other = serverWith(*transport);
  ASSERT_TRUE(other->startListening(loopback()));
  listen();
  std::unique_ptr<FailingCalls> failing;
  const auto handler = qk::logging::AddHandler([&, first = true](const qk::logging::Record& /*record*/) mutable {
    if (!std::exchange(first, false)) return;
    restart(*server);
    // The next call accepts its connection, still in this turn.
    failing.reset();
    failing.reset(new FailingCalls(FailingCalls::oneOnly(0)));
  });
  LoopbackSocket others;
  transport->call([&] {
    // The worker's next calls: it waits, and accepts the other's connection.
    failing.reset(new FailingCalls(FailingCalls::oneOnly(1)));
    others = LoopbackSocket::connected(other->address());
    remote = peer();
  });
  EXPECT_TRUE(othersComeToRest([&] { return log.countContaining(refusal) == 2; }));
  failing.reset();
  EXPECT_TRUE(qk::logging::RemoveHandler(handler));
  endPause();
  Latch accepted;
  generator.prepare = [&](Recorder& recorder) { recorder.when("data", [&] { accepted.open(); }); };
  LoopbackSocket next = peer();
  next.send("x");
  EXPECT_TRUE(accepted.waits());
  other.reset();
}

// It stopped for good if there was no memory for its next pause.
TEST_F(PausedServer, AcceptsAgainIfItCannotBeWatchedAfterItsPauseWhicheverAllocationFails) {
  if (!testing_support::heapIsOurs()) GTEST_SKIP() << "the sanitizer's operator new cannot be replaced";
  testing_support::Awaited<int> arrived;
  generator.prepare = [&](Recorder& recorder) {
    recorder.when("data", [&] { arrived.change([](int& count) { ++count; }); });
  };
  listen();
  bool failed = true;
  for (int number = 0; failed; ++number) {
    SCOPED_TRACE("allocation " + std::to_string(number));
    isRefused();
    {
      const SparedMemory own;
      const auto failingCall = FailingCalls::oneOnly(0);
      const FailingAllocation failingAllocation(number);
      endPause();
      EXPECT_TRUE(othersComeToRest([] { return FailingCalls::anyFailed(); }));
      failed = FailingAllocation::hasFailed();
    }
    endPause();
    LoopbackSocket next = peer();
    next.send("x");
    ASSERT_TRUE(arrived.waitUntil([&](int count) { return count > number; }));
  }
  EXPECT_GT(arrived.get(), 1);
}

}  // namespace
}  // namespace tovik
