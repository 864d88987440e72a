#include "ftp_fetch/statistics.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

#include "ftp_fetch/printable.h"

namespace ftp_fetch {

namespace {

using tovik::WorkerStatistics;

constexpr std::size_t columnGap = 2;
constexpr std::size_t minColumns = 3;

/// The heading of a column, followed by its cells.
using Column = std::vector<std::string>;

std::string size(unsigned long long bytes) { return humanSize(static_cast<double>(bytes)); }

std::string duration(std::chrono::nanoseconds time) {
  const auto us = static_cast<double>(time.count()) / 1e3;
  const bool isShort = us < 999.5;
  const bool isLong = us >= 999'950;
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(),
                isShort  ? "%.0f us"
                : isLong ? "%.1f s"
                         : "%.1f ms",
                isShort  ? us
                : isLong ? us / 1e6
                         : us / 1e3);
  return text.data();
}

void add(WorkerStatistics& sum, const WorkerStatistics& each) {
  tovik::ConnectionStatistics& total = sum.connections;
  total.started += each.connections.started;
  total.up += each.connections.up;
  total.ended_by_peer += each.connections.ended_by_peer;
  total.ended_here += each.connections.ended_here;
  total.failed += each.connections.failed;
  total.bytes_in += each.connections.bytes_in;
  total.bytes_out += each.connections.bytes_out;
  sum.wake_ups += each.wake_ups;
  sum.longest_handler = std::max(sum.longest_handler, each.longest_handler);
}

std::size_t widest(const Column& column) {
  const auto shorter = [](const std::string& a, const std::string& b) { return a.size() < b.size(); };
  return std::max_element(column.begin(), column.end(), shorter)->size();
}

std::string alignedRight(const std::string& text, std::size_t width) {
  return std::string(width - text.size(), ' ') + text;
}

std::vector<std::string> list(const WorkerStatistics& sum, std::size_t sessions) {
  const tovik::ConnectionStatistics& total = sum.connections;
  std::vector<std::pair<std::string, std::string>> figures;
  if (sessions > 1) figures.emplace_back("sessions", std::to_string(sessions));
  figures.insert(figures.end(), {{"connections", std::to_string(total.started)},
                                 {"connected", std::to_string(total.up)},
                                 {"ended by the server", std::to_string(total.ended_by_peer)},
                                 {"ended by this side", std::to_string(total.ended_here)},
                                 {"failed", std::to_string(total.failed)},
                                 {"received", size(total.bytes_in)},
                                 {"sent", size(total.bytes_out)},
                                 {"wake-ups", std::to_string(sum.wake_ups)},
                                 {"longest handler", duration(sum.longest_handler)}});
  std::size_t lineWidth = 0;
  for (const auto& [name, value] : figures) lineWidth = std::max(lineWidth, name.size() + columnGap + value.size());
  std::vector<std::string> lines;
  lines.reserve(figures.size());
  for (const auto& [name, value] : figures) lines.push_back(name + alignedRight(value, lineWidth - name.size()));
  return lines;
}

std::vector<Column> tableOf(const std::vector<SessionStatistics>& sessions) {
  std::vector<Column> columns{{"session"},  {"connections"},     {"received"}, {"sent"},
                              {"wake-ups"}, {"longest handler"}, {"failed"}};
  for (const auto& [number, worker] : sessions) {
    const Column row{std::to_string(number),
                     std::to_string(worker.connections.started),
                     size(worker.connections.bytes_in),
                     size(worker.connections.bytes_out),
                     std::to_string(worker.wake_ups),
                     duration(worker.longest_handler),
                     std::to_string(worker.connections.failed)};
    for (std::size_t i = 0; i < columns.size(); ++i) columns[i].push_back(row[i]);
  }
  return columns;
}

void addTable(std::vector<std::string>& lines, const std::vector<Column>& columns, Width width) {
  std::vector<std::string> table(columns.front().size());
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const std::size_t columnWidth = widest(columns[i]) + (i == 0 ? 0 : columnGap);
    if (i >= minColumns && width && table.front().size() + columnWidth > *width) break;
    for (std::size_t row = 0; row < table.size(); ++row) table[row] += alignedRight(columns[i][row], columnWidth);
  }
  lines.insert(lines.end(), table.begin(), table.end());
}

}  // namespace

std::vector<std::string> statisticsLines(const std::vector<SessionStatistics>& sessions, Width width) {
  WorkerStatistics sum;
  for (const auto& session : sessions) add(sum, session.worker);
  std::vector<std::string> lines = list(sum, sessions.size());
  if (sessions.size() < 2) return lines;
  lines.emplace_back();
  addTable(lines, tableOf(sessions), width);
  return lines;
}

}  // namespace ftp_fetch
