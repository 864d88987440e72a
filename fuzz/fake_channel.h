#pragma once

#include <tovik/channel.h>

namespace fuzz {

/// A channel without a connection. Delivers until it is brought down.
class FakeChannel : public tovik::Channel {
 public:
  explicit FakeChannel(unsigned long maxUnitBytes) : maxUnitBytes_(maxUnitBytes) {}

  void send(const char* /*data*/, unsigned long /*size*/) override {}
  void sendFile(tovik::Descriptor /*file*/, long /*offset*/, unsigned long /*size*/) override {}
  void bringDown() override { down_ = true; }
  void bringDownWhenSent() override { down_ = true; }
  bool delivers() const override { return !down_; }
  unsigned long maxUnitBytes() const override { return maxUnitBytes_; }

 private:
  const unsigned long maxUnitBytes_;
  bool down_ = false;
};

}  // namespace fuzz
