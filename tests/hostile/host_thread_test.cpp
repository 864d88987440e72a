#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>

#include "hostile_session.h"
#include "support/watchdog.h"

namespace tovik::ftp {
namespace {

using testing_support::LoopbackSocket;

/// A thread of the host's gives the commands, while whoever is at the other end speaks unasked: what the worker does
/// about that must not meet what the thread does.
class HostThread : public HostileSession {
 protected:
  void logsIn() {
    logNothing();
    server.login();
    start();
    ASSERT_TRUE(client.waits("onConnected")) << server.played();
  }
  /// Gives a command as soon as it is taken.
  void commands(const std::function<Result()>& command) {
    EXPECT_TRUE(testing_support::eventually([&] { return static_cast<bool>(command()); }));
  }

  const testing_support::Watchdog watchdog;
  std::atomic<bool> over{false};
};

// Thread and worker wrote the same members, and so a command could be lost, or freed memory used.
TEST_F(HostThread, GivesCommandsWhileTheServerAnswersUnasked) {
  constexpr long count = 20;
  logsIn();
  server.onControl("unasked replies", [this](const LoopbackSocket& control) {
    while (!over && control.trySend("257 \"/\"\r\n226 Done\r\n250 Done\r\n")) continue;
    static_cast<void>(control.trySend("257 \"/\"\r\n"));
  });
  for (long i = 0; i < count; ++i) commands([this] { return controller->getPwd(); });
  over = true;
  EXPECT_TRUE(client.waits("onPwd", count));
  EXPECT_TRUE(controller->stop());
  EXPECT_EQ(client.callsOf("onPwd"), count);
}

// The same.
TEST_F(HostThread, GivesTransfersWhileTheServerAnswersUnasked) {
  constexpr long count = 30;
  logsIn();
  server.onControl("unasked replies", [this](const LoopbackSocket& control) {
    while (!over && control.trySend("425 No\r\n500 No\r\n")) continue;
    static_cast<void>(control.trySend("500 No\r\n"));
  });
  for (long i = 0; i < count; ++i) commands([&] { return controller->getFile("file", i % 2 == 0); });
  over = true;
  EXPECT_TRUE(client.waits("onRetrieveFailed", count));
  EXPECT_TRUE(controller->stop());
  EXPECT_EQ(client.callsOf("onRetrieveFailed"), count);
}

// The same, where a stranger's connection to the listener of the last transfer begins or ends.
TEST_F(HostThread, GivesTransfersWhileStrangersConnect) {
  constexpr long count = 20;
  logsIn();
  std::thread strangers([this] {
    for (long i = 0; !over; ++i) try {
        Address listener(0);
        if (!ProtocolInterpreter::convertAddr(server.port(), listener)) continue;
        LoopbackSocket stranger = LoopbackSocket::connected(listener);
        stranger.send("evil");
        if (i % 2 == 0) stranger.shutdownSending();
        stranger.reset();
      } catch (const std::runtime_error&) {
        // The listener has just gone.
      }
  });
  for (long i = 1; i <= count; ++i) {
    server.active().expect("RETR file").reply("150 Here").data("whole").closeData().reply("226 Done");
    commands([this] { return controller->getFile("file", activeMode); });
    if (!client.waits("onRetrieve", i)) break;
  }
  over = true;
  strangers.join();
  EXPECT_TRUE(server.played());
  EXPECT_EQ(client.callsOf("onRetrieve"), count);
}

}  // namespace
}  // namespace tovik::ftp
