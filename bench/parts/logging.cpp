#include <benchmark/benchmark.h>
#include <qk/logging/logging.h>

namespace {

void passesALogSiteThatIsOff(benchmark::State& state) {
  const std::string text = "RETR file.bin";
  for ([[maybe_unused]] const auto& turn : state) {
    QK_LOG(qk::logging::LogLevel::Trace) << "Tovik: [FTP] " << text;
    benchmark::ClobberMemory();
  }
}
BENCHMARK(passesALogSiteThatIsOff);

}  // namespace
