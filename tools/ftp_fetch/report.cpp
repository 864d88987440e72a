#include "ftp_fetch/report.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <utility>

#include "ftp_fetch/columns.h"
#include "ftp_fetch/printable.h"

namespace ftp_fetch {

namespace {

Seconds since(std::chrono::steady_clock::time_point start) { return std::chrono::steady_clock::now() - start; }

/// One column less than the terminal has: some terminals wrap after a full line.
std::size_t terminalWidth(int terminal) {
  winsize size{};
  return (::ioctl(terminal, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80U) - 1;
}

}  // namespace

Report::Report(Detail detail)
    : detail_(detail), onTerminal_(::isatty(STDOUT_FILENO) == 1), started_(std::chrono::steady_clock::now()) {}

Report::~Report() { clearProgress(); }

/// Prints the name unchanged if standard output is not a terminal: a program may read it.
void Report::name(const std::string& name) {
  const std::lock_guard lock(mutex_);
  print(stdout, onTerminal_ ? printable(name) : name);
}

void Report::fetched(const std::string& name, unsigned long bytes, Seconds time) {
  const std::lock_guard lock(mutex_);
  ++fetched_;
  bytes_ += bytes;
  if (detail_ == Detail::quiet) return;
  print(stdout, fileLine(printable(name), bytes, time, widestName_, width()));
}

void Report::failed(const std::string& name, const std::string& reason) {
  const std::lock_guard lock(mutex_);
  ++failed_;
  print(stderr, "ftp_fetch: " + printable(name) + ": " + printable(reason));
}

void Report::problem(const std::string& text) {
  const std::lock_guard lock(mutex_);
  problem_ = true;
  print(stderr, "ftp_fetch: " + printable(text));
}

void Report::note(const std::string& text) {
  if (detail_ == Detail::quiet) return;
  const std::lock_guard lock(mutex_);
  print(stderr, "ftp_fetch: " + printable(text));
}

void Report::notTried(unsigned long count) {
  const std::lock_guard lock(mutex_);
  failed_ += count;
}

void Report::trace(int level, const std::string& text) {
  if (detail_ != Detail::trace) return;
  const std::lock_guard lock(mutex_);
  print(stderr, std::to_string(level) + "  " + printable(text));
}

void Report::expect(const std::deque<std::string>& names) {
  const std::lock_guard lock(mutex_);
  expected_ = names.size();
  widestName_ = 0;
  for (const auto& name : names) widestName_ = std::max(widestName_, columnsOf(printable(name)));
}

void Report::progress(const std::string& activity, unsigned long long moreBytes) {
  if (!onTerminal_ || detail_ != Detail::normal) return;
  const std::lock_guard lock(mutex_);
  received_ += moreBytes;
  const Progress now{fetched_ + failed_, expected_, static_cast<double>(received_), since(started_),
                     printable(activity)};
  clearProgress();
  std::fputs(progressLine(now, terminalWidth(STDOUT_FILENO)).c_str(), stdout);
  std::fflush(stdout);
  progressShown_ = true;
}

void Report::summary() {
  const std::lock_guard lock(mutex_);
  if (detail_ == Detail::quiet || (problem_ && fetched_ + failed_ == 0)) return;
  print(stdout, summaryLine(fetched_, fetched_ + failed_, static_cast<double>(bytes_), since(started_), width()));
}

void Report::statistics(const std::vector<SessionStatistics>& sessions) {
  const std::lock_guard lock(mutex_);
  const Width width = ::isatty(STDERR_FILENO) == 1 ? Width(terminalWidth(STDERR_FILENO)) : std::nullopt;
  for (const auto& line : statisticsLines(sessions, width)) print(stderr, line);
}

bool Report::anythingFailed() const {
  const std::lock_guard lock(mutex_);
  return problem_ || failed_ > 0;
}

Width Report::width() const { return onTerminal_ ? Width(terminalWidth(STDOUT_FILENO)) : std::nullopt; }

void Report::print(std::FILE* stream, const std::string& line) {
  clearProgress();
  const std::string whole = line + '\n';
  const bool written = std::fwrite(whole.data(), 1, whole.size(), stream) == whole.size() && std::fflush(stream) == 0;
  if (!written && stream == stdout) outputFailed(errno);
}

/// Reported once. The run continues: files may still be stored.
void Report::outputFailed(int error) {
  if (std::exchange(outputFailed_, true)) return;
  problem_ = true;
  if (error == EPIPE)
    ::kill(::getpid(), SIGPIPE);
  else
    print(stderr, std::string("ftp_fetch: standard output: ") + std::strerror(error));
}

void Report::clearProgress() {
  if (!std::exchange(progressShown_, false)) return;
  std::fputs("\r\x1b[K", stdout);
  std::fflush(stdout);
}

}  // namespace ftp_fetch
