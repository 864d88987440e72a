#include "ftp_fetch/lines.h"

#include <algorithm>

#include "ftp_fetch/columns.h"
#include "ftp_fetch/printable.h"

namespace ftp_fetch {

namespace {

constexpr const char* gap = "  ";
constexpr std::size_t sizeColumn = 9;
constexpr std::size_t rateColumn = 10;
constexpr std::size_t widestColumn = 56;
constexpr std::size_t barWidth = 20;
constexpr std::size_t leastDoing = 8;

// From here on, there is room for more than the most needed.
constexpr std::size_t roomy = 55;

std::string rate(double bytes, Seconds time) {
  // Nothing is faster than the clock can tell.
  return humanSize(bytes / std::max(time.count(), 1e-6)) + "/s";
}

std::string bar(unsigned long done, unsigned long all) {
  const std::size_t filled = std::min<std::size_t>(barWidth * done / all, barWidth);
  return std::string(filled, '#').append(barWidth - filled, '.');
}

bool isRoomy(Width width) { return !width || *width >= roomy; }

}  // namespace

std::string fileLine(const std::string& name, unsigned long bytes, Seconds time, std::size_t widestName, Width width) {
  const auto size = static_cast<double>(bytes);
  const std::string numbers =
      isRoomy(width) ? paddedTo(sizeColumn, humanSize(size)) + gap + rate(size, time) : humanSize(size);
  const std::size_t numbersWidth = 2 + sizeColumn + (isRoomy(width) ? 2 + rateColumn : 0);
  const std::size_t room = width ? *width - std::min(*width, numbersWidth) : widestColumn;
  const std::string shown = width ? shortened(name, room) : name;
  return paddedTo(std::min({widestName, room, widestColumn}), shown) + gap + numbers;
}

std::string progressLine(const Progress& progress, std::size_t width) {
  if (progress.all == 0) return shortened(progress.doing, width);
  std::string line = std::to_string(progress.done) + "/" + std::to_string(progress.all) + gap +
                     humanSize(progress.bytes) + gap + rate(progress.bytes, progress.time);
  if (width >= roomy) line = bar(progress.done, progress.all) + gap + line;
  const std::size_t taken = line.size() + 2;
  if (taken + leastDoing > width) return shortened(line, width);
  return line + gap + shortened(progress.doing, width - taken);
}

std::string summaryLine(unsigned long fetched, unsigned long all, double bytes, Seconds time, Width width) {
  const std::string counts = std::to_string(fetched) + " of " + std::to_string(all) + " files, " + humanSize(bytes);
  const std::string whole = counts + ", " + rate(bytes, time);
  return width && whole.size() > *width ? counts : whole;
}

}  // namespace ftp_fetch
