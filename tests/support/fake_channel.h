#pragma once

#include <tovik/channel.h>

#include <string>
#include <vector>

namespace testing_support {

/// A channel without a connection, which records what is done to it. It delivers until it is brought down.
///
/// Threads: one.
class FakeChannel : public tovik::Channel {
 public:
  explicit FakeChannel(unsigned long maxUnitBytes = 1UL << 20U) : maxUnitBytes_(maxUnitBytes) {}

  /// What each send was given.
  const std::vector<std::string>& sent() const { return sent_; }
  int bringDowns() const { return bringDowns_; }
  /// Forgets the calls so far, and is up again.
  void clear() {
    sent_.clear();
    bringDowns_ = 0;
  }

  void send(const char* data, unsigned long size) override { sent_.emplace_back(data, size); }
  void sendFile(tovik::Descriptor /*file*/, long /*offset*/, unsigned long /*size*/) override {
    sent_.emplace_back("a file");
  }
  void bringDown() override { ++bringDowns_; }
  void bringDownWhenSent() override { ++bringDowns_; }
  bool delivers() const override { return bringDowns_ == 0; }
  unsigned long maxUnitBytes() const override { return maxUnitBytes_; }
  tovik::EndCause endCause() const override { return cause; }
  void release() override { ++releases; }

  tovik::EndCause cause = tovik::EndCause::other;
  int releases = 0;

 private:
  const unsigned long maxUnitBytes_;
  std::vector<std::string> sent_;
  int bringDowns_ = 0;
};

}  // namespace testing_support
