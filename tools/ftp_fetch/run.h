#pragma once

#include <string>
#include <vector>

#include "ftp_fetch/report.h"
#include "ftp_fetch/watch.h"

namespace ftp_fetch {

/// What the command line asks for.
struct Plan {
  std::string url;
  std::vector<std::string> names;  // empty: all that the directory lists
  std::string directory = ".";     // of this machine
  bool active = false;
  std::string local;  // empty: the system's choice
  std::string account;
  Limits limits;
  bool list = false;
  bool statistics = false;
  unsigned sessions = 1;  // at once
  Report::Detail detail = Report::Detail::normal;
};

/// The program's exit code: 0 when everything arrived, 1 when something did not, 2 for a plan that makes no sense,
/// 128 and the signal's number when one ended it. What failed has been printed.
int run(const Plan& plan);

}  // namespace ftp_fetch
