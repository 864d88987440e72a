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

/// The output for the user: a line for each file, the progress if standard output is a terminal, and a summary. A
/// failed write to standard output counts as a failure. If its reader has closed it, the process gets SIGPIPE,
/// whichever thread wrote.
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
  /// Prints why a file failed, and counts it.
  void failed(const std::string& name, const std::string& reason);
  /// Prints an error that concerns more than one file.
  void problem(const std::string& text);
  /// Prints a message that does not count as a failure.
  void note(const std::string& text);
  /// Counts files that were not attempted; they count as failed.
  void notTried(unsigned long count);
  void trace(int level, const std::string& text);

  /// Sets the files to fetch. They may be unknown until the listing has arrived.
  void expect(const std::deque<std::string>& names);
  /// Shows what a session is doing. moreBytes: received since its last call.
  void progress(const std::string& activity, unsigned long long moreBytes);
  void summary();
  /// Prints to standard error, at every level of detail.
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
  unsigned long long bytes_ = 0;     // of complete files
  unsigned long long received_ = 0;  // of all data, incomplete files included
};

}  // namespace ftp_fetch
