#include "log_handlers/json_line.h"

#include <string_view>

#include "log_handlers/record_time.h"
#include "log_handlers/utf8.h"

namespace log_handlers {

namespace {

void appendAscii(std::string& line, char character) {
  constexpr std::string_view digits = "0123456789abcdef";
  const auto value = static_cast<unsigned char>(character);
  if (character == '"' || character == '\\')
    line.append(1, '\\').append(1, character);
  else if (character == '\n')
    line.append("\\n");
  else if (value < 0x20)
    line.append("\\u00").append(1, digits[value >> 4U]).append(1, digits[value & 0xfU]);
  else
    line.append(1, character);
}

void appendString(std::string& line, std::string_view text) {
  line.append("\"");
  while (!text.empty()) {
    const std::size_t length = utf8Length(text);
    if (length == 0)
      line.append("\\ufffd");
    else if (length == 1)
      appendAscii(line, text.front());
    else
      line.append(text.substr(0, length));
    text.remove_prefix(length == 0 ? 1 : length);
  }
  line.append("\"");
}

/// The member names are constants of this file, and need no escapes.
void appendMember(std::string& line, std::string_view name, std::string_view text) {
  line.append(",\"").append(name).append("\":");
  appendString(line, text);
}

void appendMember(std::string& line, std::string_view name, int number) {
  line.append(",\"").append(name).append("\":").append(std::to_string(number));
}

}  // namespace

std::string jsonLine(const qk::logging::Record& record) {
  std::string line = R"({"time":")" + timeText(record.time) + '"';
  appendMember(line, "level", record.level);
  if (record.source != nullptr) appendMember(line, "source", record.source->name);
  appendMember(line, "file", std::string_view(record.file));
  appendMember(line, "line", record.line);
  appendMember(line, "text", record.text);
  if (!record.extra.empty()) appendMember(line, "extra", record.extra);
  return line.append("}\n");
}

}  // namespace log_handlers
