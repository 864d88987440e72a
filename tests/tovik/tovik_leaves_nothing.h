#pragma once

#include <gtest/gtest.h>
#include <tovik/dispatch_store.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>

#include "support/leftovers.h"
#include "support/waiting.h"

namespace testing_support {

/// Whether the process holds no more than before. A thread that has been joined may stand in the kernel's list for a
/// moment longer, which nothing tells the end of: hence the repetition.
inline bool settlesTo(const Held& before) {
  const auto end = std::chrono::steady_clock::now() + deadline;
  while (!(heldNow() == before)) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::yield();
  }
  return true;
}

/// A fixture whose tests prove at their end that neither a descriptor nor a thread is left.
class LeavesNothing : public ::testing::Test {
 protected:
  LeavesNothing() : before_(heldAtRest()) {}
  // After the members of the derived fixtures are gone.
  ~LeavesNothing() override {
    EXPECT_TRUE(settlesTo(before_)) << "descriptors: " << before_.descriptors << " before, " << heldNow().descriptors
                                    << " after; threads: " << before_.threads << " before, " << heldNow().threads
                                    << " after";
  }

 private:
  static Held heldAtRest() {
    // A sanitizer starts a thread of its own together with the first one.
    static const bool first = startAndEndAThread();
    return first ? heldNow() : Held{};
  }
  static bool startAndEndAThread() {
    std::string task;
    std::thread([&task] { task = "/proc/self/task/" + std::to_string(::gettid()); }).join();
    while (std::filesystem::exists(task)) std::this_thread::yield();
    return true;
  }

  const Held before_;
};

/// A dispatcher of the store's for as long as it lives.
class Dispatcher {
 public:
  explicit Dispatcher(std::string name, unsigned workerCount = 1) : name_(std::move(name)) {
    EXPECT_TRUE(tovik::DispatchStore::inst().add(name_, workerCount));
  }
  Dispatcher(const Dispatcher&) = delete;
  Dispatcher& operator=(const Dispatcher&) = delete;
  ~Dispatcher() { EXPECT_TRUE(tovik::DispatchStore::inst().remove(name_)); }

  tovik::DispatchGenerator* get() const { return tovik::DispatchStore::inst().fetch(name_); }

 private:
  const std::string name_;
};

}  // namespace testing_support
