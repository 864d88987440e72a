#include "ftp_serve/command.h"

#include <algorithm>

namespace ftp_serve {

namespace {

char upper(char character) {
  return character >= 'a' && character <= 'z' ? static_cast<char>(character - 'a' + 'A') : character;
}

}  // namespace

std::string upperCase(std::string_view text) {
  std::string changed(text);
  std::transform(changed.begin(), changed.end(), changed.begin(), upper);
  return changed;
}

Command parseCommand(std::string_view line) {
  if (line.ends_with("\r\n")) line.remove_suffix(2);
  const auto blank = std::min(line.find(' '), line.size());
  Command command{upperCase(line.substr(0, blank)), {}};
  if (blank < line.size()) command.argument = line.substr(blank + 1);
  return command;
}

std::string withoutOptions(std::string_view argument) {
  while (argument.starts_with('-')) {
    const auto end = std::min(argument.find(' '), argument.size());
    argument.remove_prefix(end);
    argument.remove_prefix(std::min(argument.find_first_not_of(' '), argument.size()));
  }
  return std::string(argument);
}

}  // namespace ftp_serve
