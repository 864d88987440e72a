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

/// One of the sessions that work side by side, and those that follow it where it gets stuck. Each lane has a worker of
/// its own, so that what is logged can be told apart.
///
/// Threads:   run on one thread of its own, or the main one.
/// Ownership: borrows everything, which outlives it.
class Lane {
 public:
  struct Surroundings {
    const tovik::ftp::connection_data_t& connection;
    const Limits& limits;
    Job& job;
    DirectoryWriter& writer;
    Report& report;
    EndSignals& signals;
  };

  /// Throws tovik::Exception when the system gives no descriptor. Number 0 is the first.
  Lane(unsigned number, const Surroundings& surroundings) : number_(number), its_(surroundings) {}

  /// Until there is nothing left to do. Throws tovik::Exception when the system gives no thread.
  void run();

  /// Null: it has not run to its end.
  const std::optional<tovik::WorkerStatistics>& statistics() const { return statistics_; }

 private:
  bool runSession(const std::string& dispatcher);
  Outcome watchSession(const std::string& dispatcher, Conversation::State& last);
  bool passOverRefused(const Conversation::State& last);
  void tellOf(Outcome outcome, const Conversation::State& last);
  void tell(const std::string& problem);
  void abandon();

  const unsigned number_;
  const Surroundings its_;
  Conversation conversation_;
  Traffic traffic_{conversation_};
  Part part_;
  std::optional<tovik::WorkerStatistics> statistics_;
};

}  // namespace ftp_fetch
