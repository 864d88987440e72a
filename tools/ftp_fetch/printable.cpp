#include "ftp_fetch/printable.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace ftp_fetch {

namespace {

unsigned byteAt(std::string_view text, std::size_t index) { return static_cast<unsigned char>(text[index]); }

bool isContinuation(char character) { return (static_cast<unsigned char>(character) & 0xc0U) == 0x80; }

bool isBetween(unsigned first, unsigned value, unsigned last) { return first <= value && value <= last; }

/// Whether a character of several bytes is a C1 control character (U+0080 to U+009F), a line separator (U+2028, U+2029)
/// or a change of the writing direction (U+202A to U+202E, U+2066 to U+2069).
bool isControl(std::string_view text) {
  if (text[0] == '\xc2') return byteAt(text, 1) < 0xa0;
  if (!text.starts_with('\xe2')) return false;
  const unsigned last = byteAt(text, 2);
  return byteAt(text, 1) == 0x80 ? isBetween(0xa8, last, 0xae) : byteAt(text, 1) == 0x81 && isBetween(0xa6, last, 0xa9);
}

/// The length of the printable character at the start of the text; 0 if the first byte must be escaped.
std::size_t printingLength(std::string_view text) {
  const unsigned first = byteAt(text, 0);
  if (first < 0x80) return first >= 0x20 && first != 0x7f ? 1 : 0;
  const std::size_t length = first < 0xc2 || first > 0xf4 ? 0 : first < 0xe0 ? 2 : first < 0xf0 ? 3 : 4;
  if (length == 0 || text.size() < length) return 0;
  if (!std::all_of(text.begin() + 1, text.begin() + static_cast<long>(length), isContinuation)) return 0;
  return isControl(text) ? 0 : length;
}

}  // namespace

std::string printable(std::string_view text) {
  std::string printed;
  while (!text.empty()) {
    const std::size_t length = printingLength(text);
    if (length > 0) {
      printed += text.substr(0, length);
    } else {
      std::array<char, 8> escape{};
      std::snprintf(escape.data(), escape.size(), "\\x%02x", byteAt(text, 0));
      printed += escape.data();
    }
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return printed;
}

std::string humanSize(double bytes) {
  static constexpr std::array<const char*, 5> units{"B", "kB", "MB", "GB", "TB"};
  std::size_t unit = 0;
  while (bytes >= 999.95 && unit + 1 < units.size()) {
    bytes /= 1000;
    ++unit;
  }
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), unit == 0 ? "%.0f %s" : "%.1f %s", bytes, units[unit]);
  return text.data();
}

}  // namespace ftp_fetch
