#include "tovik/text.h"

#include <string_view>

namespace tovik {

std::string trim_whitespace(std::string text) {
  constexpr std::string_view whitespace = " \t\n\r\x0b\x0c";
  text.erase(text.find_last_not_of(whitespace) + 1);
  text.erase(0, text.find_first_not_of(whitespace));
  return text;
}

bool findSubstring(std::string& text, char open, char close) {
  const auto begin = text.find(open);
  if (begin == std::string::npos) return false;
  text.erase(0, begin + 1);
  const auto end = text.find(close);
  if (end == std::string::npos) return false;
  text.erase(end);
  return true;
}

}  // namespace tovik
