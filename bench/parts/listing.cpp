#include "ftp_bridge/listing.h"

#include <benchmark/benchmark.h>

namespace {

void splitsAListing(benchmark::State& state) {
  std::string text;
  for (std::int64_t i = 0; i < state.range(0); ++i) text += "a file of number " + std::to_string(i) + ".bin\r\n";
  for ([[maybe_unused]] const auto& turn : state) benchmark::DoNotOptimize(tovik::ftp::splitListing(text));
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(splitsAListing)->Arg(10)->Arg(10000);

}  // namespace
