#include "peers/curl_easy.h"
#include "peers/timed_files.h"
#include "works.h"

namespace bench::peers {

Figures curlFiles(const Job& job) {
  CurlEasy easy(job);
  easy.chooseLogin();
  CurlEasy::require(curl_easy_perform(easy.handle()));
  long connections = 0;
  Figures figures = timedFiles(job, [&](std::string& content) {
    easy.chooseFile();
    CurlEasy::require(curl_easy_perform(easy.handle()));
    connections += easy.newConnections();
    content.swap(easy.content());
  });
  // One data connection for each file; a higher count means that a control connection was not reused.
  return figures.add("new_connections", static_cast<double>(connections));
}

}  // namespace bench::peers
