#include <benchmark/benchmark.h>
#include <tovik/data_aggregator.h>

#include <algorithm>
#include <string>

#include "parts/fake_channel.h"

namespace {

class Counter : public tovik::CharHandler {
 public:
  void onData(tovik::Channel* /*channel*/, const char* data, unsigned long size, tovik::Multicast* /*m*/) override {
    benchmark::DoNotOptimize(data);
    bytes_ += size;
  }
  unsigned long bytes() const { return bytes_; }

 private:
  unsigned long bytes_ = 0;
};

std::string hundredLines() {
  std::string text;
  for (int i = 0; i < 100; ++i)
    text += "-rw-r--r--   1 ftp  ftp   4096 Jan 01 2024 a file of number " + std::to_string(i) + "\r\n";
  return text;
}

/// A hundred lines that arrive in pieces; the argument is the size of a piece.
void cutsAHundredLines(benchmark::State& state) {
  std::string text = hundredLines();
  const auto pieceSize = static_cast<unsigned long>(state.range(0));
  bench::parts::FakeChannel channel;
  Counter counter;
  tovik::TelnetPacketizer packetizer;
  tovik::BufferedAggregator aggregator(&channel, &counter, &packetizer);
  for ([[maybe_unused]] const auto& turn : state) {
    for (unsigned long begin = 0; begin < text.size(); begin += pieceSize) {
      tovik::Buffer buffer(text.data() + begin, std::min(pieceSize, text.size() - begin));
      aggregator.handleBuffer(&buffer, nullptr);
    }
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(counter.bytes()));
}
BENCHMARK(cutsAHundredLines)->Arg(1)->Arg(16)->Arg(1460)->Arg(65536);

}  // namespace
