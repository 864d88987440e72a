#pragma once

#include <stdexcept>
#include <string>

#include "figures.h"
#include "job.h"
#include "meter.h"

namespace bench::peers {

/// Times job.count calls of retrieve(std::string& content), which fills an empty string. As in our sessions, a file is
/// freed when the next one has arrived, and the last one after the time was taken.
template <class Retrieve>
Figures timedFiles(const Job& job, Retrieve&& retrieve) {
  std::string last;
  const Meter meter;
  for (unsigned long i = 0; i < job.count; ++i) {
    std::string content;
    retrieve(content);
    if (content.size() != job.size) throw std::runtime_error(job.file + " has the wrong size");
    last.swap(content);
  }
  Figures figures;
  meter.stop(figures);
  return figures;
}

}  // namespace bench::peers
