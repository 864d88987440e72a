#pragma once

#include <curl/curl.h>

#include <string>

#include "job.h"

namespace bench::peers {

/// One transfer of libcurl, set up as its users do: passive mode, every write appended to a string. Extended passive
/// mode is off, as ours has none.
class CurlEasy {
 public:
  explicit CurlEasy(const Job& job);
  CurlEasy(const CurlEasy&) = delete;
  CurlEasy& operator=(const CurlEasy&) = delete;
  ~CurlEasy();

  /// The next transfer will only connect and log in, on a connection of its own.
  void chooseLogin();
  /// The next transfer will retrieve the job's file on a connection that is there, into an empty string.
  void chooseFile();
  /// The connection is closed, with QUIT, when its transfer has ended.
  void closeAfterwards();

  CURL* handle() const { return handle_; }
  std::string& content() { return content_; }
  /// Connections that the last transfer has made.
  long newConnections() const;

  /// Throws what went wrong.
  static void require(CURLcode code);

 private:
  template <class Value>
  void set(CURLoption option, Value value) {
    require(curl_easy_setopt(handle_, option, value));
  }
  static std::size_t append(const char* data, std::size_t one, std::size_t size, std::string* content);

  CURL* const handle_;
  const std::string directory_;
  const std::string file_;
  std::string content_;
};

}  // namespace bench::peers
