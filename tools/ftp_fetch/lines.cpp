#include "ftp_fetch/lines.h"

#include <algorithm>

#include "ftp_fetch/columns.h"
#include "ftp_fetch/printable.h"

namespace ftp_fetch {

namespace {

constexpr const char* gap = "  ";
constexpr std::size_t sizeColumn = 9;
constexpr std::size_t rateColumn = 10;
constexpr std::size_t maxNameWidth = 56;
constexpr std::size_t barWidth = 20;
constexpr std::size_t minActivityWidth = 8;

// From this width on, lines also show the rate and the bar.
constexpr std::size_t wideTerminal = 55;

std::string rate(double bytes, Seconds time) {
  // Avoids a division by zero.
  return humanSize(bytes / std::max(time.count(), 1e-6)) + "/s";
}

std::string bar(unsigned long done, unsigned long all) {
  const std::size_t filled = std::min<std::size_t>(barWidth * done / all, barWidth);
  return std::string(filled, '#').append(barWidth - filled, '.');
}

bool isWide(Width width) { return !width || *width >= wideTerminal; }

}  // namespace

std::string fileLine(const std::string& name, unsigned long bytes, Seconds time, std::size_t widestName, Width width) {
  const auto size = static_cast<double>(bytes);
  const std::string numbers =
      isWide(width) ? paddedTo(sizeColumn, humanSize(size)) + gap + rate(size, time) : humanSize(size);
  const std::size_t numbersWidth = 2 + sizeColumn + (isWide(width) ? 2 + rateColumn : 0);
  const std::size_t room = width ? *width - std::min(*width, numbersWidth) : maxNameWidth;
  const std::string shown = width ? shortened(name, room) : name;
  return paddedTo(std::min({widestName, room, maxNameWidth}), shown) + gap + numbers;
}

std::string progressLine(const Progress& progress, std::size_t width) {
  if (progress.all == 0) return shortened(progress.activity, width);
  std::string line = std::to_string(progress.done) + "/" + std::to_string(progress.all) + gap +
                     humanSize(progress.bytes) + gap + rate(progress.bytes, progress.time);
  if (width >= wideTerminal) line = bar(progress.done, progress.all) + gap + line;
  const std::size_t taken = line.size() + 2;
  if (taken + minActivityWidth > width) return shortened(line, width);
  return line + gap + shortened(progress.activity, width - taken);
}

std::string summaryLine(unsigned long fetched, unsigned long all, double bytes, Seconds time, Width width) {
  const std::string counts = std::to_string(fetched) + " of " + std::to_string(all) + " files, " + humanSize(bytes);
  const std::string whole = counts + ", " + rate(bytes, time);
  return width && whole.size() > *width ? counts : whole;
}

}  // namespace ftp_fetch
