#include <gmock/gmock.h>
#include <tovik/worker_thread.h>

#include <chrono>
#include <string>

#include "placed_transport.h"
#include "server_fixture.h"
#include "support/descriptor_limit.h"
#include "support/rest.h"

namespace tovik {
namespace {

using testing_support::LoopbackSocket;
using testing_support::PlacedTransport;

/// A server in a process without free descriptors: one connection waits, and each attempt to accept it is logged.
class Shortage : public testing_support::ServerTest {
 protected:
  void SetUp() override {
    if (!testing_support::descriptorsMayRunOut()) GTEST_SKIP() << "the sanitizer needs descriptors";
    server = serverWith(placed.transport);
    listen();
  }
  void TearDown() override { server.reset(); }

  std::string refusal() const {
    return "Tovik: server: accept on " + server->address().printInet() + ": Too many open files";
  }
  long attempts() const { return log.count(refusal()); }
  /// Connects, and returns when the accept has failed.
  void connects() {
    waiting.connect(server->address());
    ASSERT_TRUE(log.waitFor(refusal()));
  }

  static constexpr std::chrono::milliseconds pause{100};
  PlacedTransport placed{dispatcher.get()};
  LoopbackSocket waiting = LoopbackSocket::unconnected();
};

// The connection is still waiting: without a pause, every turn would try again.
TEST_F(Shortage, IsRetriedWhenThePauseIsOverHoweverManyTurnsPassBefore) {
  {
    const testing_support::NoMoreDescriptors none;
    connects();
    for (long tried = 1; tried <= 3; ++tried) {
      for (int turn = 0; turn < 20; ++turn) placed.transport.call([] {});
      clock.advance(pause - clock.tick, placed.transport);
      EXPECT_EQ(attempts(), tried);
      clock.advance(clock.tick, placed.transport);
      EXPECT_TRUE(log.waitFor(refusal(), tried + 1));
    }
  }
  clock.advance(pause, placed.transport);
  EXPECT_TRUE(generator.consumer(1).waitsFor("onChannelUp"));
}

TEST_F(Shortage, LetsTheWorkerSleepDuringThePause) {
  {
    const testing_support::NoMoreDescriptors none;
    connects();
  }
  EXPECT_TRUE(testing_support::othersComeToRest([] { return true; }));
  EXPECT_EQ(attempts(), 1);
  clock.advance(pause, placed.transport);
  EXPECT_TRUE(generator.consumer(1).waitsFor("onChannelUp"));
}

}  // namespace
}  // namespace tovik
