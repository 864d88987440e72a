#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>
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
    // The kernel lists a thread for a moment after it has been joined, and nothing tells when it no longer does.
    const auto end = std::chrono::steady_clock::now() + testing_support::deadline;
    while (testing_support::heldNow() != before_ && std::chrono::steady_clock::now() < end) std::this_thread::yield();
    const auto now = testing_support::heldNow();
    EXPECT_EQ(now.descriptors, before_.descriptors) << "descriptors are left behind";
    EXPECT_EQ(now.threads, before_.threads) << "threads are left behind";
  }

 private:
  static testing_support::Held heldAtRest() {
    // A sanitizer starts a thread of its own together with the first one.
    static const bool first = startAndEndAThread();
    return first ? testing_support::heldNow() : testing_support::Held{};
  }
  static bool startAndEndAThread() {
    std::string task;
    std::thread([&task] { task = "/proc/self/task/" + std::to_string(::gettid()); }).join();
    while (std::filesystem::exists(task)) std::this_thread::yield();
    return true;
  }

  const testing_support::Held before_ = heldAtRest();
};

}  // namespace tovik::ftp
