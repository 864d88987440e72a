#include "ftp_fetch/report.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <string_view>
#include <utility>

#include "ftp_fetch/printable.h"

namespace ftp_fetch {

namespace {

constexpr std::size_t barWidth = 20;

Report::Seconds since(std::chrono::steady_clock::time_point begun) { return std::chrono::steady_clock::now() - begun; }

std::string rate(double bytes, Report::Seconds time) {
  // Nothing is faster than the clock can tell.
  return humanSize(bytes / std::max(time.count(), 1e-6)) + "/s";
}

std::string paddedTo(std::size_t width, std::string text) {
  text.resize(std::max(width, text.size()), ' ');
  return text;
}

std::size_t terminalWidth() {
  winsize size{};
  return ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

std::string bar(unsigned long done, unsigned long all) {
  const std::size_t filled = all == 0 ? 0 : std::min<std::size_t>(barWidth * done / all, barWidth);
  return std::string(filled, '#').append(barWidth - filled, '.');
}

}  // namespace

Report::Report(Detail detail)
    : detail_(detail), onTerminal_(::isatty(STDOUT_FILENO) == 1), begun_(std::chrono::steady_clock::now()) {}

Report::~Report() { clearProgress(); }

/// As it is where a program reads it.
void Report::name(const std::string& name) {
  const std::lock_guard lock(mutex_);
  print(stdout, onTerminal_ ? printable(name) : name);
}

void Report::fetched(const std::string& name, unsigned long bytes, Seconds time) {
  const std::lock_guard lock(mutex_);
  ++fetched_;
  bytes_ += bytes;
  if (detail_ == Detail::quiet) return;
  const auto size = static_cast<double>(bytes);
  print(stdout, paddedTo(32, printable(name)) + "  " + paddedTo(9, humanSize(size)) + "  " + rate(size, time));
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

void Report::notTried(unsigned long count) {
  const std::lock_guard lock(mutex_);
  failed_ += count;
}

void Report::trace(int level, const std::string& text) {
  if (detail_ != Detail::trace) return;
  const std::lock_guard lock(mutex_);
  print(stderr, std::to_string(level) + "  " + printable(text));
}

void Report::expect(unsigned long files) {
  const std::lock_guard lock(mutex_);
  expected_ = files;
}

void Report::progress(const std::string& doing, unsigned long long bytes) {
  if (!onTerminal_ || detail_ != Detail::normal) return;
  const std::lock_guard lock(mutex_);
  const auto received = static_cast<double>(bytes);
  const std::string line = bar(fetched_ + failed_, expected_) + "  " + std::to_string(fetched_ + failed_) + "/" +
                           std::to_string(expected_) + "  " + humanSize(received) + "  " +
                           rate(received, since(begun_)) + "  " + printable(doing);
  clearProgress();
  const std::string_view shown = firstCharacters(line, terminalWidth() - 1);
  std::fwrite(shown.data(), 1, shown.size(), stdout);
  std::fflush(stdout);
  progressShown_ = true;
}

void Report::summary() {
  const std::lock_guard lock(mutex_);
  if (detail_ == Detail::quiet || (problem_ && fetched_ + failed_ == 0)) return;
  const auto size = static_cast<double>(bytes_);
  print(stdout, std::to_string(fetched_) + " of " + std::to_string(fetched_ + failed_) + " files, " + humanSize(size) +
                    ", " + rate(size, since(begun_)));
}

bool Report::anythingFailed() const {
  const std::lock_guard lock(mutex_);
  return problem_ || failed_ > 0;
}

void Report::print(std::FILE* stream, const std::string& line) {
  clearProgress();
  const std::string whole = line + '\n';
  const bool written = std::fwrite(whole.data(), 1, whole.size(), stream) == whole.size() && std::fflush(stream) == 0;
  if (!written && stream == stdout) outputFailed(errno);
}

/// Told once: the files themselves may still arrive.
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
