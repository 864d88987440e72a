#pragma once

#include <chrono>
#include <cstdio>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "ftp_fetch/lines.h"
#include "ftp_fetch/statistics.h"

namespace ftp_fetch {

/// What the user sees: a line a file, the progress below them where standard output is a terminal, a summary. Standard
/// output that can't be written counts as a failure. When nobody reads it any more, the process gets SIGPIPE, whichever
/// thread it was that wrote.
///
/// Threads: any.
class Report {
 public:
  enum class Detail { quiet, normal, trace };

  explicit Report(Detail detail);
  Report(const Report&) = delete;
  Report& operator=(const Report&) = delete;
  ~Report();

  /// A line of a listing.
  void name(const std::string& name);
  void fetched(const std::string& name, unsigned long bytes, Seconds time);
  /// Also counts it.
  void failed(const std::string& name, const std::string& reason);
  /// Something that concerns more than one file.
  void problem(const std::string& text);
  /// Something that a user should know, but nothing that failed for it.
  void note(const std::string& text);
  /// Counts files that there was no trying for.
  void notTried(unsigned long count);
  void trace(int level, const std::string& text);

  /// The files that there will be. Unknown before the listing.
  void expect(const std::deque<std::string>& names);
  /// Of one session: what it does, and how many bytes it has received since it last told.
  void progress(const std::string& doing, unsigned long long moreBytes);
  void summary();
  /// To standard error, at every level of detail.
  void statistics(const std::vector<SessionStatistics>& sessions);

  bool anythingFailed() const;

 private:
  Width width() const;
  void print(std::FILE* stream, const std::string& line);
  void outputFailed(int error);
  void clearProgress();

  const Detail detail_;
  const bool onTerminal_;
  const std::chrono::steady_clock::time_point started_;

  mutable std::mutex mutex_;  // guards the members below, and the order of what is printed
  bool progressShown_ = false;
  bool outputFailed_ = false;
  bool problem_ = false;
  unsigned long expected_ = 0;
  std::size_t widestName_ = 0;  // in columns
  unsigned long fetched_ = 0;
  unsigned long failed_ = 0;
  unsigned long long bytes_ = 0;     // of whole files
  unsigned long long received_ = 0;  // of everything, also what is still on its way
};

}  // namespace ftp_fetch
