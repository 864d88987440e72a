#include <gtest/gtest.h>
#include <tovik/data_packetizer.h>

#include <string>

namespace tovik {
namespace {

UnitEnd endOf(const std::string& text) { return TelnetPacketizer().findEnd(text.data(), text.size()); }

void expectLine(const std::string& text, unsigned long size) {
  const UnitEnd end = endOf(text);
  EXPECT_TRUE(end.found) << text;
  EXPECT_EQ(end.size, size) << text;
}

/// Unfinished, and the first `searched` bytes need not be searched again.
void expectUnfinished(const std::string& text, unsigned long searched) {
  const UnitEnd end = endOf(text);
  EXPECT_FALSE(end.found) << text;
  EXPECT_EQ(end.size, searched) << text;
}

TEST(TelnetPacketizer, EndsALineAtReturnAndLineFeed) {
  expectLine("220 hello\r\n", 11);
  expectLine("\r\n", 2);
}

TEST(TelnetPacketizer, FindsTheFirstOfManyLines) { expectLine("a\r\nb\r\n", 3); }

TEST(TelnetPacketizer, TakesALoneReturnAsPartOfTheLine) { expectLine("a\rb\r\n", 5); }

TEST(TelnetPacketizer, TakesALoneLineFeedAsPartOfTheLine) {
  expectLine("a\nb\r\n", 5);
  expectLine("\n\r\n", 3);
}

TEST(TelnetPacketizer, TakesReturnAndNulAsPartOfTheLine) { expectLine(std::string("a\r\0\nb\r\n", 7), 7); }

TEST(TelnetPacketizer, TakesAReturnBeforeTheEndMarkAsPartOfTheLine) {
  expectLine("a\r\r\n", 4);
  expectLine("\r\r\r\n", 4);
}

TEST(TelnetPacketizer, TakesAnyOtherByteAsPartOfTheLine) {
  std::string line;
  for (int byte = 0; byte < 256; ++byte)
    if (byte != '\n') line.push_back(static_cast<char>(byte));
  expectLine(line + "\r\n", line.size() + 2);
}

TEST(TelnetPacketizer, FindsNoEndInEmptyData) { expectUnfinished("", 0); }

TEST(TelnetPacketizer, NeedsNoByteOfAnUnfinishedLineAgain) {
  expectUnfinished("220 hel", 7);
  expectUnfinished("a\nb", 3);
  expectUnfinished("a\n", 2);
  expectUnfinished("a\rb", 3);
}

TEST(TelnetPacketizer, NeedsAReturnAtTheEndAgain) {
  expectUnfinished("220 hel\r", 7);
  expectUnfinished("\r", 0);
  expectUnfinished("a\r\r", 2);
}

TEST(TelnetPacketizer, FindsTheSameEndWhereverItContinues) {
  const std::string text("ab\r\rc\nd\r\0\n\r\n", 12);
  for (unsigned long shown = 0; shown < text.size(); ++shown) {
    const UnitEnd before = endOf(text.substr(0, shown));
    ASSERT_FALSE(before.found) << shown;
    ASSERT_LE(before.size, shown);
    const UnitEnd end = endOf(text.substr(before.size));
    EXPECT_TRUE(end.found) << shown;
    EXPECT_EQ(before.size + end.size, text.size()) << shown;
  }
}

}  // namespace
}  // namespace tovik
