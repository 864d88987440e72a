#include "logging/standard_error.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <ctime>
#include <exception>
#include <string>

#include "logging/escape.h"

namespace qk::logging {

namespace {

/// Stops at any error except an interruption: there is no other place to report it.
void writeWhole(std::string_view line) noexcept {
  while (!line.empty()) {
    const ssize_t written = ::write(STDERR_FILENO, line.data(), line.size());
    if (written >= 0)
      line.remove_prefix(static_cast<std::size_t>(written));
    else if (errno != EINTR)
      return;
  }
}

void appendTime(std::string& line, std::chrono::system_clock::time_point time) {
  const auto second = std::chrono::floor<std::chrono::seconds>(time);
  const std::time_t clock = std::chrono::system_clock::to_time_t(second);
  std::tm calendar{};
  ::localtime_r(&clock, &calendar);
  std::array<char, 64> text;
  line.append(text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S.", &calendar));

  const auto microseconds = std::chrono::floor<std::chrono::microseconds>(time - second).count();
  const std::string digits = std::to_string(microseconds);
  line.append(6 - digits.size(), '0').append(digits);
}

std::string_view withoutFolders(std::string_view file) { return file.substr(file.find_last_of('/') + 1); }

}  // namespace

void writeToStandardError(const Record& record) {
  std::string line;
  appendTime(line, record.time);
  line.append(" [").append(std::to_string(record.level)).append("] ");
  appendEscaped(line, withoutFolders(record.file));
  line.append(":").append(std::to_string(record.line)).append(" ");
  appendEscaped(line, record.text);
  if (!record.extra.empty()) {
    line.append(" | ");
    appendEscaped(line, record.extra);
  }
  line.append("\n");
  writeWhole(line);
}

void complainOnStandardError(std::string_view complaint, std::string_view detail) noexcept {
  try {
    std::string line = "qk::logging: ";
    line.append(complaint);
    appendEscaped(line, detail);
    line.append("\n");
    writeWhole(line);
  } catch (const std::exception&) {
    writeWhole("qk::logging: out of memory\n");
  }
}

}  // namespace qk::logging
