#include <qk/logging/logging.h>

#include <atomic>
#include <memory>

#include "session_fixture.h"
#include "support/latch.h"
#include "support/rest.h"
#include "support/watchdog.h"

// A callback that stops another worker's session waits for that worker. Meanwhile nothing else of its own session runs.

namespace tovik::ftp {
namespace {

using testing_support::Latch;
using testing_support::othersComeToRest;
using testing_support::ScopedDispatcher;

class WaitingCallback : public Session {
 protected:
  WaitingCallback() {
    secondServer.login();
    EXPECT_TRUE(second->start());
    EXPECT_TRUE(secondClient.waits("onConnected")) << secondServer.played();
    secondServer.expectClose();
    secondClient.whenever("onDisconnected", [this] {
      waiting.open();
      EXPECT_TRUE(othersComeToRest([this] { return acting.isOpen(); }));
    });
  }

  void TearDown() override {
    EXPECT_TRUE(secondServer.played());
    Session::TearDown();
  }

  /// Its client comes back from its last callback once every other thread has come to rest after `acting`.
  void stopTheSecond() {
    inside = true;
    EXPECT_TRUE(second->stop());
    inside = false;
  }

  const testing_support::Watchdog watchdog;
  Latch waiting;
  Latch acting;
  std::atomic<bool> inside{false};
  const ScopedDispatcher secondDispatcher{"second"};
  ScriptedServer secondServer;
  RecordingClient secondClient;
  std::unique_ptr<Controller> second = [this] {
    connection_data_t to = connection();
    to.server = secondServer.address();
    return std::make_unique<Controller>(to, &secondClient, secondDispatcher.name(), 0, nullptr);
  }();
};

// The session was destroyed while its callback was still to come back.
TEST_F(WaitingCallback, HasReturnedWhenItsSessionIsDestroyedOnAnotherThread) {
  server.login();
  onceLoggedIn([this] { stopTheSecond(); });
  ASSERT_TRUE(waiting.waits()) << server.played();
  acting.open();
  controller.reset();
  EXPECT_FALSE(inside);
  EXPECT_TRUE(client.waits("onConnected"));
  server.expectClose();
}

// The end was reported inside the callback that waited.
TEST_F(WaitingCallback, IsFollowedByTheEndThatAnotherThreadRequested) {
  server.login();
  long endsInside = -1;
  onceLoggedIn([&] {
    stopTheSecond();
    endsInside = client.callsOf("onDisconnected");
  });
  ASSERT_TRUE(waiting.waits()) << server.played();
  acting.open();
  EXPECT_TRUE(controller->stop());
  EXPECT_FALSE(inside);
  EXPECT_TRUE(client.waits("onConnected"));
  EXPECT_EQ(endsInside, 0);
  EXPECT_EQ(client.callsOf("onDisconnected"), 1);
  server.expectClose();
}

// The interpreter was destroyed while it was logging, and went on.
TEST_F(WaitingCallback, OfALogHandlerHasReturnedWhenTheSessionIsDestroyedOnAnotherThread) {
  std::atomic<bool> stops{true};
  Latch returned;
  const auto handler = qk::logging::AddHandler([&](const qk::logging::Record& record) {
    if (record.text != "Tovik: protocol interpreter up" || !stops.exchange(false)) return;
    stopTheSecond();
    returned.open();
  });
  server.accept();
  start();
  ASSERT_TRUE(waiting.waits()) << server.played();
  acting.open();
  controller.reset();
  EXPECT_FALSE(inside);
  EXPECT_TRUE(returned.waits());
  EXPECT_TRUE(qk::logging::RemoveHandler(handler));
  server.expectClose();
}

}  // namespace
}  // namespace tovik::ftp
