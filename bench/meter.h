#pragma once

#include <chrono>

#include "figures.h"

namespace bench {

/// Measures the time and the processor time of the process from its construction on.
class Meter {
 public:
  Meter();
  /// Adds "seconds" and "cpu_seconds".
  void stop(Figures& figures) const;

 private:
  static double cpuSeconds();

  std::chrono::steady_clock::time_point start_;
  double cpuStart_;
};

}  // namespace bench
