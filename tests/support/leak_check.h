#pragma once

#include <gtest/gtest.h>

#include "support/leftovers.h"

namespace testing_support {

/// The first member of a fixture: once all the others are destroyed, no descriptor and no thread more than before it is
/// left.
class LeakCheck {
 public:
  LeakCheck() = default;
  LeakCheck(const LeakCheck&) = delete;
  LeakCheck& operator=(const LeakCheck&) = delete;
  ~LeakCheck() { EXPECT_EQ(heldInTheEnd(before_), before_); }

 private:
  const Held before_ = heldAtRest();
};

/// The base of fixtures that leave nothing behind.
class LeakCheckedTest : public ::testing::Test {
 private:
  const LeakCheck leakCheck_{};
};

}  // namespace testing_support
