#include <qk/logging/logging.h>
#include <tovik/data_aggregator.h>
#include <tovik/data_packetizer.h>

#include <string>
#include <vector>

#include "feeding.h"
#include "fuzzer.h"
#include "support/fake_channel.h"

// Lines of a byte stream. The input: the maximum length of a line, the number of lines after which the handler brings
// the channel down, the number of pieces, the size of each, and the stream.

namespace {

using Units = std::vector<std::string>;

/// Collects units; brings the channel down after `wanted` units.
class Collector : public tovik::CharHandler {
 public:
  Collector(tovik::Channel& channel, std::size_t wanted) : channel_(channel), wanted_(wanted) {}
  const Units& units() const { return units_; }

  void onData(tovik::Channel* /*channel*/, const char* data, unsigned long size, tovik::Multicast* /*m*/) override {
    fuzz::require(channel_.delivers(), "no unit is delivered when the channel is down");
    units_.emplace_back(data, size);
    if (units_.size() == wanted_) channel_.bringDown();
  }

 private:
  tovik::Channel& channel_;
  const std::size_t wanted_;
  Units units_;
};

/// The result of a stream.
struct Outcome {
  Units units;
  bool ended = false;
  friend bool operator==(const Outcome&, const Outcome&) = default;
};

struct Rules {
  std::size_t limit;
  std::size_t wanted;
};

Outcome aggregate(const std::vector<std::string>& pieces, const Rules& rules) {
  testing_support::FakeChannel channel(rules.limit);
  Collector collector(channel, rules.wanted);
  tovik::TelnetPacketizer packetizer;
  tovik::BufferedAggregator aggregator(&channel, &collector, &packetizer);
  for (const auto& piece : pieces) fuzz::feed(aggregator, channel, piece);
  return {collector.units(), !channel.delivers()};
}

Outcome expected(const std::string& stream, const Rules& rules) {
  Outcome outcome;
  std::size_t begin = 0;
  while (!outcome.ended) {
    const auto mark = stream.find("\r\n", begin);
    const auto end = mark == std::string::npos ? stream.size() : mark + 2;
    outcome.ended = end - begin > rules.limit;
    if (outcome.ended || mark == std::string::npos) return outcome;
    outcome.units.push_back(stream.substr(begin, end - begin));
    outcome.ended = outcome.units.size() == rules.wanted;
    begin = end;
  }
  return outcome;
}

void checkFindEnd(const std::string& stream) {
  const tovik::UnitEnd end = tovik::TelnetPacketizer().findEnd(stream.data(), stream.size());
  const auto mark = stream.find("\r\n");
  fuzz::require(end.found == (mark != std::string::npos), "a line ends at CR LF");
  fuzz::require(end.found ? end.size == mark + 2 : end.size <= stream.size(), "a line ends only at CR LF");
  const bool half = !end.found && !stream.empty() && stream.back() == '\r';
  fuzz::require(!half || end.size < stream.size(), "a CR at the end is examined again");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  qk::logging::SetMinLogLevel(qk::logging::LogLevel::Error);
  fuzz::Input input(data, size);
  const Rules rules{input.byte(), input.byte()};
  std::vector<std::size_t> sizes(input.byte() % 16);
  for (auto& pieceSize : sizes) pieceSize = input.byte();
  const std::string stream = input.rest();

  fuzz::Input cut(reinterpret_cast<const std::uint8_t*>(stream.data()), stream.size());
  std::vector<std::string> pieces;
  for (const auto pieceSize : sizes) pieces.push_back(cut.text(pieceSize));
  pieces.push_back(cut.rest());
  std::vector<std::string> bytes;
  for (const char byte : stream) bytes.emplace_back(1, byte);

  checkFindEnd(stream);
  const Outcome outcome = aggregate({stream}, rules);
  fuzz::require(outcome == expected(stream, rules), "the units are the lines");
  fuzz::require(aggregate(pieces, rules) == outcome, "the units don't depend on the pieces");
  fuzz::require(aggregate(bytes, rules) == outcome, "the units are the same byte by byte");
  return 0;
}
