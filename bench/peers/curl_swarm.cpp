#include <memory>
#include <stdexcept>
#include <unordered_map>
#include <vector>

#include "meter.h"
#include "peers/curl_multi.h"
#include "works.h"

namespace bench::peers {
namespace {

/// As many connections as the job has sessions, all logged in before the first file is requested.
class Swarm {
 public:
  explicit Swarm(const Job& job) : job_(job), multi_(job.sessions) {
    for (unsigned long i = 0; i < job.sessions; ++i) handles_.push_back(std::make_unique<CurlEasy>(job));
  }

  void logIn() {
    for (const auto& handle : handles_) handle->chooseLogin();
    while (started_ < std::min(job_.maxLogins, handles_.size())) startNext();
    multi_.run([this](CurlEasy& /*easy*/) { startNext(); });
  }

  Figures retrieve() {
    const Meter meter;
    for (const auto& handle : handles_) {
      left_[handle.get()] = job_.count;
      retrieveAgain(*handle);
    }
    multi_.run([this](CurlEasy& easy) { take(easy); });
    Figures figures;
    meter.stop(figures);
    return figures.add("new_connections", static_cast<double>(connections_));
  }

 private:
  void startNext() {
    if (started_ < handles_.size()) multi_.add(*handles_[started_++]);
  }
  void retrieveAgain(CurlEasy& easy) {
    easy.chooseFile();
    multi_.add(easy);
  }
  void take(CurlEasy& easy) {
    if (easy.content().size() != job_.size) throw std::runtime_error(job_.file + " has the wrong size");
    connections_ += easy.newConnections();
    if (--left_[&easy] > 0) retrieveAgain(easy);
  }

  const Job& job_;
  std::vector<std::unique_ptr<CurlEasy>> handles_;
  CurlMulti multi_;                                          // declared after the handles, which must outlive it
  std::unordered_map<const CurlEasy*, unsigned long> left_;  // files
  unsigned long started_ = 0;
  long connections_ = 0;
};

}  // namespace

Figures curlSwarm(const Job& job) {
  Swarm swarm(job);
  swarm.logIn();
  return swarm.retrieve();
}

}  // namespace bench::peers
