#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <string_view>

namespace command_line {

/// The text in lines of at most so many columns: broken at blanks, where it has line ends of its own, and within a word
/// that is longer than a line. An indent comes before each line but the first, and doesn't count. Plain ASCII.
std::string wrapped(std::string_view text, std::size_t columns, std::size_t indent);

/// A tool's help in lines that fit the terminal that standard output is, 80 columns at most and elsewhere. Where there
/// is room, what an option does stands beside it, else below. The texts are given without line breaks.
class Help final : public CLI::Formatter {
 public:
  Help();

  std::string make_description(const CLI::App* app) const override;
  std::string make_usage(const CLI::App* app, std::string name) const override;
  std::string make_footer(const CLI::App* app) const override;
  std::string make_option(const CLI::Option* option, bool isPositional) const override;

 private:
  const std::size_t columns_;
  const std::size_t textColumn_;  // of what is said of an option
};

}  // namespace command_line
