#include "log_handlers/text_line.h"

#include <string_view>

#include "log_handlers/record_time.h"
#include "log_handlers/utf8.h"

namespace log_handlers {

namespace {

/// The control characters of ASCII, and those of two bytes (C1), which some terminals execute too.
bool isControl(std::string_view character) {
  const auto first = static_cast<unsigned char>(character[0]);
  if (character.size() == 1) return first < 0x20 || first == 0x7f;
  return first == 0xc2 && static_cast<unsigned char>(character[1]) < 0xa0;
}

void appendHex(std::string& line, char byte) {
  constexpr std::string_view digits = "0123456789abcdef";
  const auto value = static_cast<unsigned char>(byte);
  line.append("\\x").append(1, digits[value >> 4U]).append(1, digits[value & 0xfU]);
}

void appendVisible(std::string& line, std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = utf8Length(text);
    const std::string_view character = text.substr(0, length == 0 ? 1 : length);
    if (length == 0 || isControl(character))
      for (const char byte : character) appendHex(line, byte);
    else
      line.append(character);
    text.remove_prefix(character.size());
  }
}

std::string_view withoutFolders(std::string_view file) { return file.substr(file.find_last_of('/') + 1); }

}  // namespace

std::string textLine(const qk::logging::Record& record) {
  std::string line = timeText(record.time) + " [" + std::to_string(record.level) + "] ";
  line.append(withoutFolders(record.file)).append(":").append(std::to_string(record.line)).append(" ");
  appendVisible(line, record.text);
  if (!record.extra.empty()) appendVisible(line.append(" | "), record.extra);
  return line.append("\n");
}

}  // namespace log_handlers
