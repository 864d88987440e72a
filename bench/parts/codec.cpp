#include <benchmark/benchmark.h>
#include <tovik/ftp_bridge/ftp_bridge.h>

namespace {

using tovik::ftp::ProtocolInterpreter;

void parsesHostAndPort(benchmark::State& state) {
  const std::string text = "127,0,0,1,195,149";
  tovik::Address address;
  for ([[maybe_unused]] const auto& turn : state) {
    if (!ProtocolInterpreter::convertAddr(text, address)) state.SkipWithError("not parsed");
    benchmark::DoNotOptimize(address);
  }
}
BENCHMARK(parsesHostAndPort);

void formatsHostAndPort(benchmark::State& state) {
  tovik::Address address(50069);
  if (!address.set_host("127.0.0.1")) return state.SkipWithError("no host");
  std::string text;
  for ([[maybe_unused]] const auto& turn : state) {
    if (!ProtocolInterpreter::convertAddr(address, text)) state.SkipWithError("not formatted");
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(formatsHostAndPort);

}  // namespace
