#pragma once

#include <string>

namespace bench {

/// What one run does, and against which server on this host.
struct Job {
  std::string host = "127.0.0.1";
  unsigned short port = 0;
  std::string user = "anonymous";
  std::string password = "bench@example.org";

  std::string file;            // retrieved again and again
  unsigned long size = 0;      // of that file: anything else that arrives ends the run as failed
  unsigned long count = 1;     // retrievals in a session
  unsigned long sessions = 1;  // in the process
  unsigned long atOnce = 64;   // sessions that log in at the same time, at most
  bool active = false;         // data connections
  long curlBuffer = 0;         // libcurl's receive buffer in bytes; 0: its default
};

}  // namespace bench
