#pragma once

#include <gtest/gtest.h>
#include <tovik/dispatch_store.h>

#include <string>

namespace tovik::ftp {

/// A dispatcher of one worker, in the store for as long as this lives.
class TestDispatcher {
 public:
  explicit TestDispatcher(std::string name, Clock& clock = Clock::steady()) : name_(std::move(name)) {
    const Result added = DispatchStore::inst().add(name_, 1, clock);
    EXPECT_TRUE(added) << added.message;
  }
  TestDispatcher(const TestDispatcher&) = delete;
  TestDispatcher& operator=(const TestDispatcher&) = delete;
  ~TestDispatcher() {
    const Result removed = DispatchStore::inst().remove(name_);
    EXPECT_TRUE(removed) << removed.message;
  }

  const std::string& name() const { return name_; }

 private:
  const std::string name_;
};

}  // namespace tovik::ftp
