#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace ftp_fetch {

using Seconds = std::chrono::duration<double>;

/// The maximum width of a line, in columns. Empty means unlimited: nothing is left out.
using Width = std::optional<std::size_t>;

/// The line of a fetched file: its name, its size, its transfer rate. Aligns the names of a run in a column. Shortens
/// long names; omits the rate on a narrow terminal. The name is printable.
std::string fileLine(const std::string& name, unsigned long bytes, Seconds time, std::size_t widestName, Width width);

struct Progress {
  unsigned long done = 0;
  unsigned long all = 0;  // 0 if not known yet
  double bytes = 0;
  Seconds time{0};
  std::string activity;  // printable
};

/// Omits what doesn't fit: first the bar, then the activity.
std::string progressLine(const Progress& progress, std::size_t width);

std::string summaryLine(unsigned long fetched, unsigned long all, double bytes, Seconds time, Width width);

}  // namespace ftp_fetch
