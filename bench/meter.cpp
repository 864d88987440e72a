#include "meter.h"

#include <sys/resource.h>

namespace bench {
namespace {

double inSeconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

}  // namespace

Meter::Meter() : start_(std::chrono::steady_clock::now()), cpuStart_(cpuSeconds()) {}

void Meter::stop(Figures& figures) const {
  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start_;
  figures.add("seconds", time.count()).add("cpu_seconds", cpuSeconds() - cpuStart_);
}

double Meter::cpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return inSeconds(usage.ru_utime) + inSeconds(usage.ru_stime);
}

}  // namespace bench
