#include <gmock/gmock.h>
#include <tovik/data_aggregator.h>

#include <functional>
#include <string>
#include <vector>

#include "support/fake_channel.h"
#include "support/log_capture.h"

namespace tovik {
namespace {

using ::testing::ElementsAre;
using testing_support::FakeChannel;
using testing_support::LogCapture;
using Units = std::vector<std::string>;

/// Keeps the units that it receives; calls `act` after each.
class Keeper final : public CharHandler {
 public:
  void onData(Channel* channel, const char* data, unsigned long size, Multicast* multicast) override {
    channels.push_back(channel);
    multicasts.push_back(multicast);
    units.emplace_back(data, size);
    if (act) act();
  }

  Units units;
  std::vector<Channel*> channels;
  std::vector<Multicast*> multicasts;
  std::function<void()> act;
};

/// Counts the bytes that it searches.
class CountingPacketizer final : public DataPacketizer {
 public:
  UnitEnd findEnd(const char* data, unsigned long size) override {
    shown += size;
    return telnet_.findEnd(data, size);
  }
  unsigned long shown = 0;

 private:
  TelnetPacketizer telnet_;
};

class Aggregation : public ::testing::Test {
 protected:
  void give(const std::string& bytes) {
    // Separate storage, so that the sanitizer detects a read that is out of bounds or too late.
    std::vector<char> storage(bytes.begin(), bytes.end());
    Buffer buffer(storage.data(), storage.size());
    aggregator.handleBuffer(&buffer, nullptr);
  }
  void giveByteByByte(const std::string& bytes) {
    for (const char byte : bytes) give(std::string(1, byte));
  }

  static constexpr unsigned long limit = 10;
  LogCapture log;
  FakeChannel channel{limit};
  Keeper handler;
  CountingPacketizer packetizer;
  BufferedAggregator aggregator{&channel, &handler, &packetizer};
};

TEST_F(Aggregation, DeliversEachUnitOfOneBuffer) {
  give("a\r\nbb\r\n\r\nccc\r\n");
  EXPECT_THAT(handler.units, ElementsAre("a\r\n", "bb\r\n", "\r\n", "ccc\r\n"));
}

TEST_F(Aggregation, PassesTheChannelAndTheMulticast) {
  std::string unit = "a\r\n";
  Buffer buffer(unit.data(), unit.size());
  auto* const multicast = reinterpret_cast<Multicast*>(&unit);
  aggregator.handleBuffer(&buffer, multicast);
  EXPECT_THAT(handler.channels, ElementsAre(&channel));
  EXPECT_THAT(handler.multicasts, ElementsAre(multicast));
}

TEST_F(Aggregation, KeepsAnUnfinishedUnitUntilItsEnd) {
  give("a\r\nhal");
  EXPECT_THAT(handler.units, ElementsAre("a\r\n"));
  give("f\r");
  EXPECT_THAT(handler.units, ElementsAre("a\r\n"));
  give("\nb\r\nc");
  EXPECT_THAT(handler.units, ElementsAre("a\r\n", "half\r\n", "b\r\n"));
}

TEST_F(Aggregation, AcceptsAnEmptyBuffer) {
  give("a");
  give("");
  give("\r\n");
  EXPECT_THAT(handler.units, ElementsAre("a\r\n"));
}

TEST_F(Aggregation, FindsTheSameUnitsHoweverTheTextIsSplitInThree) {
  const std::string text("a\r\n\r\rb\nc\r\n\r\nd\r\0\r\ne\r\nf", 21);
  const Units whole{"a\r\n", "\r\rb\nc\r\n", "\r\n", std::string("d\r\0\r\n", 5), "e\r\n"};
  for (unsigned long first = 0; first <= text.size(); ++first)
    for (unsigned long second = first; second <= text.size(); ++second) {
      handler.units.clear();
      give(text.substr(0, first));
      give(text.substr(first, second - first));
      give(text.substr(second));
      EXPECT_EQ(handler.units, whole) << first << ' ' << second;
      give("\r\n");
    }
}

TEST_F(Aggregation, FindsTheSameUnitsByteByByte) {
  giveByteByByte("a\r\n\r\rb\nc\r\n\r\nd");
  EXPECT_THAT(handler.units, ElementsAre("a\r\n", "\r\rb\nc\r\n", "\r\n"));
}

TEST_F(Aggregation, PassesOnAUnitOfExactlyTheLimit) {
  give("12345678\r\n");
  giveByteByByte("12345678\r\n");
  give("12345");
  give("678\r\na\r\n");
  EXPECT_THAT(handler.units, ElementsAre("12345678\r\n", "12345678\r\n", "12345678\r\n", "a\r\n"));
  EXPECT_TRUE(channel.delivers());
}

/// The parameter's pieces contain one whole unit and then one that is too long.
class OverlongUnit : public Aggregation, public ::testing::WithParamInterface<Units> {};

TEST_P(OverlongUnit, IsLoggedAndBringsTheChannelDown) {
  for (const std::string& piece : GetParam())
    if (channel.delivers()) give(piece);
  EXPECT_FALSE(channel.delivers());
  EXPECT_THAT(handler.units, ElementsAre("a\r\n"));
  ASSERT_EQ(log.entries().size(), 1U);
  EXPECT_EQ(log.entries()[0].level, 30);
  EXPECT_EQ(log.entries()[0].text, "Tovik: unit longer than 10 bytes, channel brought down");
}

INSTANTIATE_TEST_SUITE_P(Pieces, OverlongUnit,
                         ::testing::Values(Units{"a\r\n123456789\r\nb\r\n"}, Units{"a\r\n", "123456789\r\nb\r\n"},
                                           Units{"a\r\n12345", "6789\r\nb\r\n"}, Units{"a\r\n123456789\r", "\nb\r\n"},
                                           Units{"a\r\n1234567890", "1"}, Units{"a\r\n12345678901"},
                                           Units{"a\r\n", "123456789012345678901234567890"},
                                           Units{"a\r\n", "1234567890", "\r\n"}));

TEST_F(Aggregation, AppliesTheLimitToEachUnit) {
  for (int i = 0; i < 10; ++i) give("1234\r\n56");
  EXPECT_TRUE(channel.delivers());
  EXPECT_EQ(handler.units.size(), 10U);
}

TEST_F(Aggregation, DeliversNothingAfterTheHandlerBroughtTheChannelDown) {
  handler.act = [this] { channel.bringDown(); };
  give("a\r\nb\r\nc");
  EXPECT_THAT(handler.units, ElementsAre("a\r\n"));
}

TEST_F(Aggregation, DeliversNothingAfterTheHandlerOfASplitUnitBroughtTheChannelDown) {
  give("a");
  handler.act = [this] { channel.bringDown(); };
  give("\r\nb\r\n");
  EXPECT_THAT(handler.units, ElementsAre("a\r\n"));
}

TEST_F(Aggregation, SearchesALineThatArrivesByteByByteNoMoreThanTwice) {
  FakeChannel wide(1UL << 20U);
  BufferedAggregator lines(&wide, &handler, &packetizer);
  const std::string line = std::string(100'000, 'x') + "\r\n";
  for (char byte : line) {
    Buffer buffer(&byte, 1);
    lines.handleBuffer(&buffer, nullptr);
  }
  EXPECT_THAT(handler.units, ElementsAre(line));
  EXPECT_LE(packetizer.shown, 2 * line.size());
}

TEST_F(Aggregation, DeliversLinesWithoutCopyingThem) {
  std::string lines = "a\r\nb\r\n";
  std::vector<const char*> places;
  class PlaceKeeper final : public CharHandler {
   public:
    explicit PlaceKeeper(std::vector<const char*>& into) : into_(into) {}
    void onData(Channel* /*channel*/, const char* data, unsigned long /*size*/, Multicast* /*multicast*/) override {
      into_.push_back(data);
    }

   private:
    std::vector<const char*>& into_;
  } keeper(places);
  BufferedAggregator inPlace(&channel, &keeper, &packetizer);
  Buffer buffer(lines.data(), lines.size());
  inPlace.handleBuffer(&buffer, nullptr);
  EXPECT_THAT(places, ElementsAre(lines.data(), lines.data() + 3));
}

TEST_F(Aggregation, WithoutAChannelDeliversEveryUnit) {
  BufferedAggregator alone(nullptr, &handler, &packetizer);
  std::string text = "a\r\nb\r\nc";
  Buffer buffer(text.data(), text.size());
  alone.handleBuffer(&buffer, nullptr);
  EXPECT_THAT(handler.units, ElementsAre("a\r\n", "b\r\n"));
}

TEST_F(Aggregation, WithoutAChannelEnforcesTheDefaultLimitAndContinuesBehindALongUnit) {
  BufferedAggregator alone(nullptr, &handler, &packetizer);
  std::string tooLong(1024UL * 1024UL + 1, 'x');
  Buffer buffer(tooLong.data(), tooLong.size());
  alone.handleBuffer(&buffer, nullptr);
  EXPECT_EQ(log.entries().size(), 1U);
  std::string line = "a\r\n";
  Buffer next(line.data(), line.size());
  alone.handleBuffer(&next, nullptr);
  EXPECT_THAT(handler.units, ElementsAre("a\r\n"));
}

TEST_F(Aggregation, OfTheSimpleKindDeliversEveryBufferAsItComes) {
  SimpleAggregator simple(&channel, &handler);
  std::string text("a\0\r", 3);
  Buffer buffer(text.data(), text.size());
  simple.handleBuffer(&buffer, nullptr);
  EXPECT_THAT(handler.units, ElementsAre(text));
  EXPECT_THAT(handler.channels, ElementsAre(&channel));
}

}  // namespace
}  // namespace tovik
