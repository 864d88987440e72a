#pragma once

#include <deque>
#include <optional>
#include <string>

namespace ftp_fetch {

/// What is to be done and how far it has got. It outlives sessions, so that a second one can go on where the first got
/// stuck. The session's while there is one.
struct Job {
  std::string directory;  // empty: where the login leads to
  bool passive = true;
  bool listOnly = false;

  bool namesKnown = false;             // given, or from a listing
  std::deque<std::string> names;       // still to fetch
  std::optional<std::string> current;  // being fetched
  bool done = false;
};

}  // namespace ftp_fetch
