#pragma once

#include <gtest/gtest.h>

#include "support/leftovers.h"

namespace tovik::ftp {

/// First member of a fixture: once all the others are gone, the process holds what it held before them.
class NothingLeft {
 public:
  NothingLeft() = default;
  NothingLeft(const NothingLeft&) = delete;
  NothingLeft& operator=(const NothingLeft&) = delete;
  ~NothingLeft() { EXPECT_EQ(testing_support::heldInTheEnd(before_), before_); }

 private:
  const testing_support::Held before_ = testing_support::heldAtRest();
};

}  // namespace tovik::ftp
