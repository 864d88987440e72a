#include "support/leftovers.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <thread>

namespace testing_support {
namespace {

/// Starts a thread that ends at once, and joins it without sleeping: a sleeping thread would wake too late to see it
/// exit.
void startAndJoinAThread() {
  pthread_t thread{};
  ASSERT_EQ(::pthread_create(
                &thread, nullptr, [](void* nothing) { return nothing; }, nullptr),
            0);
  while (::pthread_tryjoin_np(thread, nullptr) != 0) continue;
}

// The count before a test included a thread that was just exiting, so the count after it was one too low.
TEST(HeldNow, DoesNotCountAJoinedThread) {
  const Held before = heldAtRest();
  for (int i = 0; i < 500; ++i) {
    startAndJoinAThread();
    ASSERT_EQ(heldNow(), before) << i;
  }
}

TEST(HeldNow, CountsARunningThread) {
  const Held before = heldAtRest();
  Awaited<bool> done;
  std::thread running([&done] { EXPECT_TRUE(done.waitUntil([](bool value) { return value; })); });
  EXPECT_EQ(heldNow().threads, before.threads + 1);
  done.change([](bool& value) { value = true; });
  running.join();
}

}  // namespace
}  // namespace testing_support
