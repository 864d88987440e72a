#pragma once

#include <curl/curl.h>

#include <chrono>
#include <functional>
#include <optional>

#include "peers/curl_easy.h"

namespace bench::peers {

/// libcurl's multi interface for many transfers: its sockets in an epoll set, and its timer.
class CurlMulti {
 public:
  /// connections: the number of connections kept open.
  explicit CurlMulti(unsigned long connections);
  CurlMulti(const CurlMulti&) = delete;
  CurlMulti& operator=(const CurlMulti&) = delete;
  ~CurlMulti();

  void add(const CurlEasy& easy);
  /// Runs the transfers until none is left. Calls onDone for each transfer that has ended; onDone may add it again.
  void run(const std::function<void(CurlEasy& easy)>& onDone);

 private:
  using Clock = std::chrono::steady_clock;

  static int onSocket(CURL* easy, curl_socket_t socket, int what, void* self, void* registered);
  static int onTimer(CURLM* multi, long milliseconds, void* self);
  int waitMilliseconds() const;
  void turn();
  void reportEnds(const std::function<void(CurlEasy& easy)>& onDone);

  CURLM* const multi_;
  const int epoll_;
  std::optional<Clock::time_point> timer_;
  unsigned long active_ = 0;   // transfers
  unsigned long watched_ = 0;  // sockets
};

}  // namespace bench::peers
