#pragma once

#include <curl/curl.h>

#include <string>

#include "job.h"

namespace bench::peers {

/// One transfer of libcurl, set up as usual: passive mode, with each write appended to a string. Extended passive mode
/// is off, since our library has none.
class CurlEasy {
 public:
  explicit CurlEasy(const Job& job);
  CurlEasy(const CurlEasy&) = delete;
  CurlEasy& operator=(const CurlEasy&) = delete;
  ~CurlEasy();

  /// The next transfer only connects and logs in, on a new connection.
  void chooseLogin();
  /// The next transfer retrieves the job's file on an existing connection, into an empty string.
  void chooseFile();
  /// Closes the connection with QUIT after each transfer.
  void closeAfterwards();

  CURL* handle() const { return handle_; }
  std::string& content() { return content_; }
  /// The number of connections that the last transfer opened.
  long newConnections() const;

  /// Throws if code is an error.
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
