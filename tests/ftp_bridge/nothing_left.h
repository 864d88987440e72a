#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "support/leftovers.h"
#include "support/waiting.h"

namespace tovik::ftp {

/// First member of a fixture: once all the others are gone, the process holds what it held before them.
class NothingLeft {
 public:
  NothingLeft() = default;
  NothingLeft(const NothingLeft&) = delete;
  NothingLeft& operator=(const NothingLeft&) = delete;

  ~NothingLeft() {
    // The kernel lists a thread for a moment after it has been joined.
    const auto end = std::chrono::steady_clock::now() + testing_support::deadline;
    while (testing_support::heldNow() != before_ && std::chrono::steady_clock::now() < end) std::this_thread::yield();
    const auto now = testing_support::heldNow();
    EXPECT_EQ(now.descriptors, before_.descriptors) << "descriptors are left behind";
    EXPECT_EQ(now.threads, before_.threads) << "threads are left behind";
  }

 private:
  const testing_support::Held before_ = testing_support::heldNow();
};

}  // namespace tovik::ftp
