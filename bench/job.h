#pragma once

#include <string>

namespace bench {

/// The parameters of one run, and its server on this host.
struct Job {
  std::string host = "127.0.0.1";
  unsigned short port = 0;
  std::string user = "anonymous";
  std::string password = "bench@example.org";

  std::string file;              // retrieved repeatedly
  unsigned long size = 0;        // of that file: a different size fails the run
  unsigned long count = 1;       // retrievals in a session
  unsigned long sessions = 1;    // in the process
  unsigned long maxLogins = 64;  // limit of sessions that log in at the same time
  bool active = false;           // use active data connections
  long curlBuffer = 0;           // libcurl's receive buffer in bytes; 0: its default
};

}  // namespace bench
