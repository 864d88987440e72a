#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "standard_error_fixture.h"

namespace qk::logging {
namespace {

/// Lead bytes that may be followed by the same second bytes. Any other second byte would form an overlong sequence, a
/// surrogate, a number above U+10FFFF or a control character.
struct Row {
  int firstLead;
  int lastLead;
  int length;
  int firstSecond;
  int lastSecond;
};

/// All bytes of the lead's sequence that follow the second one have the same value.
std::string sequence(const Row& row, int lead, int second, int further) {
  std::vector<int> numbers{lead, second};
  numbers.resize(static_cast<std::size_t>(row.length), further);
  return {numbers.begin(), numbers.end()};
}

std::string escaped(const std::string& text) {
  const std::string digits = "0123456789abcdef";
  std::string result;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    result += {'\\', 'x', digits[byte / 16U], digits[byte % 16U]};
  }
  return result;
}

const std::array<Row, 9> rows{{{0xc2, 0xc2, 2, 0xa0, 0xbf},
                               {0xc3, 0xdf, 2, 0x80, 0xbf},
                               {0xe0, 0xe0, 3, 0xa0, 0xbf},
                               {0xe1, 0xec, 3, 0x80, 0xbf},
                               {0xed, 0xed, 3, 0x80, 0x9f},
                               {0xee, 0xef, 3, 0x80, 0xbf},
                               {0xf0, 0xf0, 4, 0x90, 0xbf},
                               {0xf1, 0xf3, 4, 0x80, 0xbf},
                               {0xf4, 0xf4, 4, 0x80, 0x8f}}};

class Utf8OnStandardError : public StandardError {
 protected:
  void expectPasses(const std::string& text) { EXPECT_EQ(shown(text), text) << escaped(text); }
  void expectEscaped(const std::string& text) { EXPECT_EQ(shown(text), escaped(text)); }
};

TEST_F(Utf8OnStandardError, IsKeptFromTheFirstToTheLastValueOfEachByte) {
  for (const Row& row : rows) {
    for (const int lead : {row.firstLead, row.lastLead}) {
      for (const int second : {row.firstSecond, row.lastSecond}) {
        expectPasses(sequence(row, lead, second, 0x80));
        expectPasses(sequence(row, lead, second, 0xbf));
      }
    }
  }
}

TEST_F(Utf8OnStandardError, IsEscapedIfTheSecondByteIsOutsideTheRow) {
  for (const Row& row : rows) {
    for (const int lead : {row.firstLead, row.lastLead}) {
      expectEscaped(sequence(row, lead, row.firstSecond - 1, 0xbf));
      expectEscaped(sequence(row, lead, row.lastSecond + 1, 0xbf));
    }
  }
}

TEST_F(Utf8OnStandardError, IsEscapedIfALaterByteIsOutsideTheRange) {
  for (const Row& row : rows) {
    for (int at = 2; at < row.length; ++at) {
      for (const int outside : {0x7f, 0xc0}) {
        std::string text = sequence(row, row.firstLead, row.firstSecond, 0x80);
        text[static_cast<std::size_t>(at)] = static_cast<char>(outside);
        expectEscaped(text);
      }
    }
  }
}

}  // namespace
}  // namespace qk::logging
