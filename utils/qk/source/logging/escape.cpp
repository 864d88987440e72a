#include "logging/escape.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace qk::logging {

namespace {

/// The UTF-8 sequences that start with one of these lead bytes: their length, and the second bytes that are allowed.
/// These exclude overlong forms, surrogates, numbers above U+10FFFF and the control characters U+0080 to U+009F.
struct Sequence {
  unsigned char firstLead;
  unsigned char lastLead;
  std::size_t length;
  unsigned char firstSecond;
  unsigned char lastSecond;
};

constexpr std::array<Sequence, 9> sequences{{
    {0xc2, 0xc2, 2, 0xa0, 0xbf},
    {0xc3, 0xdf, 2, 0x80, 0xbf},
    {0xe0, 0xe0, 3, 0xa0, 0xbf},
    {0xe1, 0xec, 3, 0x80, 0xbf},
    {0xed, 0xed, 3, 0x80, 0x9f},
    {0xee, 0xef, 3, 0x80, 0xbf},
    {0xf0, 0xf0, 4, 0x90, 0xbf},
    {0xf1, 0xf3, 4, 0x80, 0xbf},
    {0xf4, 0xf4, 4, 0x80, 0x8f},
}};

bool isBetween(char character, unsigned char first, unsigned char last) {
  const auto byte = static_cast<unsigned char>(character);
  return byte >= first && byte <= last;
}

bool startsWith(std::string_view text, const Sequence& sequence) {
  return text.size() >= sequence.length && isBetween(text[0], sequence.firstLead, sequence.lastLead) &&
         isBetween(text[1], sequence.firstSecond, sequence.lastSecond) &&
         std::ranges::all_of(text.substr(2, sequence.length - 2),
                             [](char character) { return isBetween(character, 0x80, 0xbf); });
}

/// Returns the length of the printable character at the start of the text, or 0 if there is none.
std::size_t printableLength(std::string_view text) {
  if (isBetween(text[0], 0x20, 0x7e)) return 1;
  const auto found =
      std::ranges::find_if(sequences, [text](const Sequence& sequence) { return startsWith(text, sequence); });
  return found == sequences.end() ? 0 : found->length;
}

void appendEscape(std::string& line, char character) {
  constexpr std::string_view digits = "0123456789abcdef";
  switch (character) {
    case '\n':
      line += "\\n";
      break;
    case '\r':
      line += "\\r";
      break;
    case '\t':
      line += "\\t";
      break;
    default:
      const auto byte = static_cast<unsigned char>(character);
      line += "\\x";
      line += digits[byte >> 4U];
      line += digits[byte & 0x0fU];
  }
}

}  // namespace

void appendEscaped(std::string& line, std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = printableLength(text);
    if (length == 0) {
      appendEscape(line, text.front());
      text.remove_prefix(1);
    } else {
      line += text.substr(0, length);
      text.remove_prefix(length);
    }
  }
}

}  // namespace qk::logging
