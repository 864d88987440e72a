#include "ftp_fetch/columns.h"

#include <clocale>
#include <cwchar>

namespace ftp_fetch {

namespace {

/// Switches the calling thread to UTF-8, whatever the user's locale is: names come from servers.
class Utf8Locale {
 public:
  Utf8Locale() : previous_(::uselocale(locale())) {}
  Utf8Locale(const Utf8Locale&) = delete;
  Utf8Locale& operator=(const Utf8Locale&) = delete;
  ~Utf8Locale() { ::uselocale(previous_); }

 private:
  static locale_t locale() {
    static const locale_t utf8 = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return utf8;
  }

  const locale_t previous_;
};

struct Character {
  std::size_t length;
  std::size_t columns;
};

Character firstOf(std::string_view text) {
  std::mbstate_t state{};
  wchar_t character = 0;
  const std::size_t length = std::mbrtowc(&character, text.data(), text.size(), &state);
  if (length == 0 || length > text.size()) return {1, 1};
  const int columns = ::wcwidth(character);
  return {length, columns < 0 ? 1 : static_cast<std::size_t>(columns)};
}

/// Keeps combining characters with the character before them.
std::string_view head(std::string_view text, std::size_t columns) {
  std::size_t end = 0;
  while (end < text.size()) {
    const Character next = firstOf(text.substr(end));
    if (next.columns > columns) break;
    columns -= next.columns;
    end += next.length;
  }
  return text.substr(0, end);
}

std::string_view tail(std::string_view text, std::size_t columns) {
  std::size_t left = columnsOf(text);
  while (!text.empty()) {
    const Character next = firstOf(text);
    if (left <= columns && next.columns > 0) break;
    left -= next.columns;
    text.remove_prefix(next.length);
  }
  return text;
}

}  // namespace

std::size_t columnsOf(std::string_view text) {
  const Utf8Locale utf8;
  std::size_t columns = 0;
  while (!text.empty()) {
    const Character next = firstOf(text);
    columns += next.columns;
    text.remove_prefix(next.length);
  }
  return columns;
}

std::string shortened(std::string_view text, std::size_t columns) {
  if (columnsOf(text) <= columns) return std::string(text);
  if (columns == 0) return {};
  const Utf8Locale utf8;
  const std::string_view begin = head(text, columns / 2);
  return std::string(begin).append("…").append(tail(text, columns - columnsOf(begin) - 1));
}

std::string paddedTo(std::size_t columns, std::string text) {
  const std::size_t taken = columnsOf(text);
  return taken < columns ? text.append(columns - taken, ' ') : text;
}

}  // namespace ftp_fetch
