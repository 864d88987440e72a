#include "command_line/help.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

namespace command_line {

namespace {

constexpr std::size_t minColumns = 20;
constexpr std::size_t maxColumns = 80;
constexpr std::size_t textColumnBeside = 29;
constexpr std::size_t textColumnBelow = 6;
constexpr std::size_t minTextWidth = 40;
constexpr std::size_t continuation = 7;  // the width of "Usage: "

/// One column less than the terminal has: some terminals wrap after a full line.
std::size_t columnsOfOutput() {
  winsize size{};
  if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return maxColumns;
  return std::clamp<std::size_t>(size.ws_col - 1U, minColumns, maxColumns);
}

/// The part of the text that fits on one line.
std::string_view firstLine(std::string_view text, std::size_t width) {
  text = text.substr(0, text.find('\n'));
  if (text.size() <= width) return text;
  const std::size_t lastBlank = text.rfind(' ', width);
  return text.substr(0, lastBlank == std::string_view::npos ? width : lastBlank);
}

}  // namespace

std::string wrapped(std::string_view text, std::size_t columns, std::size_t indent) {
  std::string lines;
  for (;;) {
    const std::string_view line = firstLine(text, columns);
    lines.append(lines.empty() || line.empty() ? 0 : indent, ' ').append(line);
    text.remove_prefix(line.size());
    if (text.empty()) return lines;
    if (text.front() == ' ' || text.front() == '\n') text.remove_prefix(1);
    lines += '\n';
  }
}

Help::Help()
    : columns_(columnsOfOutput()),
      textColumn_(columns_ >= textColumnBeside + minTextWidth ? textColumnBeside : textColumnBelow) {}

std::string Help::make_description(const CLI::App* app) const {
  return wrapped(Formatter::make_description(app), columns_, 0);
}

std::string Help::make_usage(const CLI::App* app, std::string name) const {
  return wrapped(Formatter::make_usage(app, std::move(name)), columns_ - continuation, continuation);
}

std::string Help::make_footer(const CLI::App* app) const { return wrapped(Formatter::make_footer(app), columns_, 0); }

std::string Help::make_option(const CLI::Option* option, bool isPositional) const {
  std::string head = "  " + make_option_name(option, isPositional) + make_option_opts(option);
  if (head.size() < textColumn_)
    head.append(textColumn_ - head.size(), ' ');
  else
    head.append(1, '\n').append(textColumn_, ' ');
  return head + wrapped(make_option_desc(option), columns_ - textColumn_, textColumn_) + '\n';
}

}  // namespace command_line
