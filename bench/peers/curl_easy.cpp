#include "peers/curl_easy.h"

#include <stdexcept>

namespace bench::peers {

CurlEasy::CurlEasy(const Job& job)
    : handle_(curl_easy_init()),
      directory_("ftp://" + job.host + ':' + std::to_string(job.port) + '/'),
      file_(directory_ + job.file) {
  if (handle_ == nullptr) throw std::runtime_error("curl_easy_init");
  set(CURLOPT_USERNAME, job.user.c_str());
  set(CURLOPT_PASSWORD, job.password.c_str());
  set(CURLOPT_FTP_USE_EPSV, 0L);
  set(CURLOPT_NOSIGNAL, 1L);
  // Ignore a proxy set in the environment.
  set(CURLOPT_PROXY, "");
  set(CURLOPT_WRITEFUNCTION, &CurlEasy::append);
  set(CURLOPT_WRITEDATA, &content_);
  set(CURLOPT_PRIVATE, this);
  if (job.curlBuffer > 0) set(CURLOPT_BUFFERSIZE, job.curlBuffer);
}

CurlEasy::~CurlEasy() { curl_easy_cleanup(handle_); }

void CurlEasy::chooseLogin() {
  set(CURLOPT_URL, directory_.c_str());
  set(CURLOPT_NOBODY, 1L);
  set(CURLOPT_FRESH_CONNECT, 1L);
}

void CurlEasy::chooseFile() {
  std::string().swap(content_);
  set(CURLOPT_URL, file_.c_str());
  set(CURLOPT_NOBODY, 0L);
  set(CURLOPT_FRESH_CONNECT, 0L);
}

void CurlEasy::closeAfterwards() { set(CURLOPT_FORBID_REUSE, 1L); }

long CurlEasy::newConnections() const {
  long count = 0;
  require(curl_easy_getinfo(handle_, CURLINFO_NUM_CONNECTS, &count));
  return count;
}

void CurlEasy::require(CURLcode code) {
  if (code != CURLE_OK) throw std::runtime_error(curl_easy_strerror(code));
}

std::size_t CurlEasy::append(const char* data, std::size_t one, std::size_t size, std::string* content) {
  content->append(data, one * size);
  return one * size;
}

}  // namespace bench::peers
