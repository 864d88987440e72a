#include "parts/interpreter_fixture.h"

namespace {

void sendsACommand(benchmark::State& state) {
  bench::parts::InterpreterFixture session;
  const std::string command = "RETR file.bin";
  for ([[maybe_unused]] const auto& turn : state) session.interpreter().sendCommand(command);
}
BENCHMARK(sendsACommand);

}  // namespace
