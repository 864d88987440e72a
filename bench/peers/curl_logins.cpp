#include <algorithm>
#include <memory>
#include <vector>

#include "meter.h"
#include "peers/curl_multi.h"
#include "works.h"

namespace bench::peers {

Figures curlLogins(const Job& job) {
  std::vector<std::unique_ptr<CurlEasy>> handles;
  CurlMulti multi(job.maxLogins);
  unsigned long started = 0;
  const auto start = [&](const CurlEasy& easy) {
    if (started == job.sessions) return;
    ++started;
    multi.add(easy);
  };
  const Meter meter;
  for (unsigned long i = 0; i < std::min(job.maxLogins, job.sessions); ++i) {
    handles.push_back(std::make_unique<CurlEasy>(job));
    handles.back()->chooseLogin();
    handles.back()->closeAfterwards();
    start(*handles.back());
  }
  multi.run(start);
  Figures figures;
  meter.stop(figures);
  return figures;
}

}  // namespace bench::peers
