#pragma once

#include <benchmark/benchmark.h>
#include <tovik/channel.h>
#include <tovik/traits.h>

namespace bench::parts {

/// A channel without a connection: discards what is sent.
class FakeChannel : public tovik::Channel {
 public:
  void send(const char* data, unsigned long /*size*/) override { benchmark::DoNotOptimize(data); }
  void sendFile(tovik::Descriptor /*file*/, long /*offset*/, unsigned long /*size*/) override {}
  void bringDown() override {}
  void bringDownWhenSent() override {}
  bool delivers() const override { return true; }
  unsigned long maxUnitBytes() const override { return tovik::Traits().max_unit_bytes; }
};

}  // namespace bench::parts
