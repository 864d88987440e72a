#pragma once

#include <tovik/ftp_bridge/ftp_bridge.h>
#include <tovik/worker_statistics.h>

#include <optional>
#include <string>

#include "ftp_fetch/conversation.h"
#include "ftp_fetch/directory_writer.h"
#include "ftp_fetch/job.h"
#include "ftp_fetch/report.h"
#include "ftp_fetch/signals.h"
#include "ftp_fetch/traffic.h"
#include "ftp_fetch/watch.h"

namespace ftp_fetch {

/// Fetches files with one session at a time; starts another session when one gets stuck. Several workers run in
/// parallel, each on a dispatcher of its own, so that log records can be assigned to their worker.
///
/// Threads:   run by one thread; statistics when run has returned.
/// Ownership: borrows the context, which outlives it.
class FetchWorker {
 public:
  struct Context {
    const tovik::ftp::connection_data_t& connection;
    const Limits& limits;
    Job& job;
    DirectoryWriter& writer;
    Report& report;
    EndSignals& signals;
  };

  /// The first worker has number 0. Throws tovik::Exception if no descriptor can be opened.
  FetchWorker(unsigned number, const Context& context) : number_(number), context_(context) {}

  /// Returns when there is nothing left to do. Throws tovik::Exception if no thread can be started.
  void run();

  /// Null if run was not called or has thrown.
  const std::optional<tovik::WorkerStatistics>& statistics() const { return statistics_; }

 private:
  bool runSession(const std::string& dispatcher);
  Outcome watchSession(const std::string& dispatcher, Conversation::State& last);
  bool skipRefusedFile(const Conversation::State& last);
  void reportOutcome(Outcome outcome, const Conversation::State& last);
  void reportProblem(const std::string& problem);
  void abandon();

  const unsigned number_;
  const Context context_;
  Conversation conversation_;
  Traffic traffic_{conversation_};
  WorkerProgress progress_;
  std::optional<tovik::WorkerStatistics> statistics_;
};

}  // namespace ftp_fetch
