#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace ftp_fetch {

using Seconds = std::chrono::duration<double>;

/// How many columns a line may take. Empty: nothing has to fit, and nothing is left out.
using Width = std::optional<std::size_t>;

/// A file that has arrived: its name, its size, how fast it came. The names of one run stand in a column of their own;
/// a long one is shortened, and a narrow terminal gets no rates. The name is printable.
std::string fileLine(const std::string& name, unsigned long bytes, Seconds time, std::size_t widestName, Width width);

struct Progress {
  unsigned long done = 0;
  unsigned long all = 0;  // 0: not known yet
  double bytes = 0;
  Seconds time{0};
  std::string doing;  // printable
};

/// What doesn't fit is left out: the bar first, then what is being done.
std::string progressLine(const Progress& progress, std::size_t width);

std::string summaryLine(unsigned long fetched, unsigned long all, double bytes, Seconds time, Width width);

}  // namespace ftp_fetch
