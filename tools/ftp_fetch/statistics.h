#pragma once

#include <tovik/worker_statistics.h>

#include <string>
#include <vector>

#include "ftp_fetch/lines.h"

namespace ftp_fetch {

/// The statistics of one of the parallel sessions.
struct SessionStatistics {
  unsigned number = 1;  // starts at 1
  tovik::WorkerStatistics worker;
};

/// The totals of all sessions, one figure per line. If there are several sessions, a table with a line for each
/// follows, with as many columns as fit, at least the first three.
std::vector<std::string> statisticsLines(const std::vector<SessionStatistics>& sessions, Width width);

}  // namespace ftp_fetch
