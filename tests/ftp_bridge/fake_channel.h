#pragma once

#include <tovik/channel.h>
#include <tovik/descriptor.h>

#include <string>
#include <vector>

namespace tovik::ftp {

/// A channel without a connection, which notes what is done to it. One thread.
class FakeChannel : public Channel {
 public:
  /// What each send was given.
  const std::vector<std::string>& sent() const { return sent_; }
  int bringDowns() const { return bringDowns_; }
  void forget() {
    sent_.clear();
    bringDowns_ = 0;
  }

  void send(const char* data, unsigned long size) override { sent_.emplace_back(data, size); }
  void sendFile(Descriptor /*file*/, long /*offset*/, unsigned long /*size*/) override { sent_.emplace_back("a file"); }
  void bringDown() override { ++bringDowns_; }
  void bringDownWhenSent() override { ++bringDowns_; }
  bool delivers() const override { return bringDowns_ == 0; }
  unsigned long maxUnitBytes() const override { return 1UL << 20U; }
  EndCause endCause() const override { return cause; }
  void release() override { ++releases; }

  EndCause cause = EndCause::other;
  int releases = 0;

 private:
  std::vector<std::string> sent_;
  int bringDowns_ = 0;
};

}  // namespace tovik::ftp
