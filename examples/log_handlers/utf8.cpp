#include "log_handlers/utf8.h"

#include <algorithm>

namespace log_handlers {

namespace {

unsigned char byteAt(std::string_view text, std::size_t place) { return static_cast<unsigned char>(text[place]); }

std::size_t lengthByFirstByte(unsigned char first) {
  if (first < 0x80) return 1;
  if (first < 0xc2) return 0;
  if (first < 0xe0) return 2;
  if (first < 0xf0) return 3;
  return first < 0xf5 ? 4 : 0;
}

/// After some first bytes the range of the second byte is smaller, to exclude overlong forms, surrogates and values
/// above U+10FFFF.
bool fitTogether(unsigned char first, unsigned char second) {
  switch (first) {
    case 0xe0:
      return second >= 0xa0;
    case 0xed:
      return second < 0xa0;
    case 0xf0:
      return second >= 0x90;
    case 0xf4:
      return second < 0x90;
    default:
      return true;
  }
}

bool isContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xc0U) == 0x80U; }

}  // namespace

std::size_t utf8Length(std::string_view text) {
  if (text.empty()) return 0;
  const std::size_t length = lengthByFirstByte(byteAt(text, 0));
  if (length < 2) return length;
  if (text.size() < length || !std::all_of(text.begin() + 1, text.begin() + length, isContinuation)) return 0;
  return fitTogether(byteAt(text, 0), byteAt(text, 1)) ? length : 0;
}

}  // namespace log_handlers
