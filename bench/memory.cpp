#include "memory.h"

#include <malloc.h>

#include <fstream>
#include <stdexcept>
#include <string>

namespace bench {
namespace {

// Not getrusage: its peak includes the time before exec, when this process ran another program.
double statusBytes(const std::string& field) {
  std::ifstream status("/proc/self/status");
  for (std::string name; status >> name;) {
    double kibibytes = 0;
    if (name == field && status >> kibibytes) return kibibytes * 1024;
    std::getline(status, name);
  }
  throw std::runtime_error("/proc/self/status has no " + field);
}

}  // namespace

double residentBytes() { return statusBytes("RssAnon:"); }

double peakResidentBytes() { return statusBytes("VmHWM:"); }

double heapBytes() {
  const auto info = mallinfo2();
  return static_cast<double>(info.uordblks + info.hblkhd);
}

}  // namespace bench
