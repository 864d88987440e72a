#pragma once

#include <tovik/channel.h>

#include <string>
#include <vector>

namespace testing_support {

/// A channel without a connection: keeps what is sent.
class FakeChannel final : public tovik::Channel {
 public:
  explicit FakeChannel(unsigned long maxUnitBytes = 1UL << 20U) : maxUnitBytes_(maxUnitBytes) {}

  void send(const char* data, unsigned long size) override { sent.emplace_back(data, size); }
  void sendFile(tovik::Descriptor /*file*/, long /*offset*/, unsigned long /*size*/) override {}
  void bringDown() override { isDown = true; }
  void bringDownWhenSent() override { isDown = true; }
  bool delivers() const override { return !isDown; }
  unsigned long maxUnitBytes() const override { return maxUnitBytes_; }

  std::vector<std::string> sent;
  bool isDown = false;

 private:
  const unsigned long maxUnitBytes_;
};

}  // namespace testing_support
