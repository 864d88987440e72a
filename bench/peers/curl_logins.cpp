#include <algorithm>
#include <memory>
#include <vector>

#include "meter.h"
#include "peers/curl_multi.h"
#include "works.h"

namespace bench::peers {

Figures curlLogins(const Job& job) {
  std::vector<std::unique_ptr<CurlEasy>> handles;
  CurlMulti multi(job.atOnce);
  unsigned long begun = 0;
  const auto begin = [&](const CurlEasy& easy) {
    if (begun == job.sessions) return;
    ++begun;
    multi.add(easy);
  };
  const Meter meter;
  for (unsigned long i = 0; i < std::min(job.atOnce, job.sessions); ++i) {
    handles.push_back(std::make_unique<CurlEasy>(job));
    handles.back()->chooseLogin();
    handles.back()->closeAfterwards();
    begin(*handles.back());
  }
  multi.run(begin);
  Figures figures;
  meter.stop(figures);
  return figures;
}

}  // namespace bench::peers
