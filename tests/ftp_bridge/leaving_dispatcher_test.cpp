#include <tovik/dispatch_store.h>
#include <tovik/exception.h>

#include <atomic>
#include <memory>
#include <thread>

#include "recording_client.h"
#include "scripted_server.h"
#include "support/leak_check.h"
#include "support/log_capture.h"
#include "support/scoped_dispatcher.h"
#include "support/watchdog.h"

namespace tovik::ftp {
namespace {

using testing_support::LeakCheck;
using testing_support::LoopbackSocket;
using testing_support::ScopedDispatcher;

// It could be given a worker that was ending, or had been destroyed.
TEST(DispatcherBeingRemoved, GivesASessionAWorkingWorkerOrNone) {
  constexpr int count = 200;
  const testing_support::Watchdog watchdog;
  const LeakCheck leakCheck;
  const testing_support::LogCapture nothingLogged(1000);
  const auto listener = LoopbackSocket::listening();
  std::atomic<bool> over{false};
  std::thread other([&over] {
    while (!over) {
      EXPECT_TRUE(DispatchStore::inst().add("leaving", 1));
      std::this_thread::yield();
      EXPECT_TRUE(DispatchStore::inst().remove("leaving"));
    }
  });
  for (int sessions = 0; sessions < count;) {
    RecordingClient client;
    try {
      Controller session({listener.address(), Address(0), "me", "secret", ""}, &client, "leaving", 0, nullptr);
      ++sessions;
      EXPECT_TRUE(session.start());
      EXPECT_TRUE(session.stop());
      EXPECT_EQ(client.callsOf("onDisconnected"), 1);
    } catch (const Exception&) {
      // It was between its removal and its return, for which the store must be free.
      std::this_thread::yield();
    }
  }
  over = true;
  other.join();
  // One that a session was the last to use ends when the store is next changed.
  const ScopedDispatcher another("another");
}

}  // namespace
}  // namespace tovik::ftp
