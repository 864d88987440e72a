#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <string_view>

namespace command_line {

/// Wraps ASCII text into lines of at most `columns` columns. Breaks lines at blanks, and within words that are longer
/// than a line; keeps existing line ends. Indents every line but the first; the indent doesn't count as columns.
std::string wrapped(std::string_view text, std::size_t columns, std::size_t indent);

/// Formats the help of a tool to fit the terminal on standard output, with at most 80 columns; 80 if it is not a
/// terminal. Puts the description of an option beside the option if the terminal is wide enough, otherwise below it.
class Help final : public CLI::Formatter {
 public:
  Help();

  std::string make_description(const CLI::App* app) const override;
  std::string make_usage(const CLI::App* app, std::string name) const override;
  std::string make_footer(const CLI::App* app) const override;
  std::string make_option(const CLI::Option* option, bool isPositional) const override;

 private:
  const std::size_t columns_;
  const std::size_t textColumn_;  // where the descriptions of options start
};

}  // namespace command_line
