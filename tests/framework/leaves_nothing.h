#pragma once

#include <gtest/gtest.h>
#include <tovik/dispatch_store.h>

#include <string>
#include <utility>

#include "support/leftovers.h"

namespace testing_support {

/// A fixture that checks at the end of each test that no descriptor and no thread is left.
class LeavesNothing : public ::testing::Test {
 protected:
  LeavesNothing() : before_(heldAtRest()) {}
  // Runs after the members of the derived fixtures have been destroyed.
  ~LeavesNothing() override { EXPECT_EQ(heldInTheEnd(before_), before_); }

 private:
  const Held before_;
};

/// A dispatcher that is in the store while the object exists.
class Dispatcher {
 public:
  explicit Dispatcher(std::string name, unsigned workerCount = 1, tovik::Clock& clock = tovik::Clock::steady())
      : name_(std::move(name)) {
    EXPECT_TRUE(tovik::DispatchStore::inst().add(name_, workerCount, clock));
  }
  Dispatcher(const Dispatcher&) = delete;
  Dispatcher& operator=(const Dispatcher&) = delete;
  ~Dispatcher() { EXPECT_TRUE(tovik::DispatchStore::inst().remove(name_)); }

  tovik::DispatchGenerator* get() const { return tovik::DispatchStore::inst().fetch(name_); }

 private:
  const std::string name_;
};

}  // namespace testing_support
