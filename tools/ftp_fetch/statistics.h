#pragma once

#include <tovik/worker_statistics.h>

#include <string>
#include <vector>

#include "ftp_fetch/lines.h"

namespace ftp_fetch {

/// What one of the sessions that work side by side has come to.
struct SessionStatistics {
  unsigned number = 1;  // from 1 on
  tovik::WorkerStatistics worker;
};

/// What the sessions come to together, a figure a line. Where there are several, a table follows that has a line for
/// each: of its columns as many as fit, the first three at least.
std::vector<std::string> statisticsLines(const std::vector<SessionStatistics>& sessions, Width width);

}  // namespace ftp_fetch
