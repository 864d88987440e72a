#include <string_view>

#include "parts/interpreter_fixture.h"

namespace {

using tovik::ftp::ProtocolInterpreter;

void readsTheCodeOfALine(benchmark::State& state) {
  const std::string line = "150 Opening BINARY mode data connection for file.bin (4096 bytes).\r\n";
  tovik::ftp::code_t code;
  std::string rest;
  for ([[maybe_unused]] const auto& turn : state) {
    bool continued = false;
    benchmark::DoNotOptimize(ProtocolInterpreter::parseReturnCode(line, code, continued, rest));
  }
}
BENCHMARK(readsTheCodeOfALine);

void read(benchmark::State& state, std::initializer_list<std::string_view> lines) {
  bench::parts::InterpreterFixture session;
  auto& interpreter = session.interpreter();
  for ([[maybe_unused]] const auto& turn : state)
    for (const auto line : lines) interpreter.onData(&session.channel(), line.data(), line.size(), nullptr);
}

// The reply asks to wait, and a new session ignores it, so this measures only the reading.
void readsAReply(benchmark::State& state) {
  read(state, {"120 Service ready in a few minutes, be so kind and wait\r\n"});
}
BENCHMARK(readsAReply);

void readsAReplyOfThreeLines(benchmark::State& state) {
  read(state, {"120-Service ready in a few minutes\r\n", " be so kind and wait\r\n", "120-a little longer\r\n"});
}
BENCHMARK(readsAReplyOfThreeLines);

}  // namespace
