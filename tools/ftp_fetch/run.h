#pragma once

#include <string>
#include <vector>

#include "ftp_fetch/report.h"
#include "ftp_fetch/watch.h"

namespace ftp_fetch {

/// The options of the command line.
struct Plan {
  std::string url;
  std::vector<std::string> names;  // empty: all files in the listing
  std::string directory = ".";     // local
  bool active = false;
  std::string local;  // empty: chosen by the system
  std::string account;
  Limits limits;
  bool list = false;
  bool statistics = false;
  unsigned sessions = 1;  // at once
  Report::Detail detail = Report::Detail::normal;
};

/// Runs the program and returns its exit code: 0 if every file arrived, 1 if something failed, 2 for an invalid plan,
/// 128 plus the signal's number if a signal ended it. Prints errors itself.
int run(const Plan& plan);

}  // namespace ftp_fetch
