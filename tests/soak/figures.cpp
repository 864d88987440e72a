#include "figures.h"

#include <unistd.h>

#include <fstream>
#include <iomanip>
#include <ostream>

namespace soak {

namespace {

// Texts and tables that happen to be longer or shorter at the one moment than at the other.
constexpr long waveringBytes = 1024;
constexpr long waveringBlocks = 4;

// The sanitizers keep freed memory for a while.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool residentTells = false;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr bool residentTells = false;
#else
constexpr bool residentTells = true;
#endif
#else
constexpr bool residentTells = true;
#endif
constexpr long waveringResidentKiB = 1024;

long readResidentKiB() {
  long pages = 0;
  std::ifstream statm("/proc/self/statm");
  statm >> pages >> pages;
  return pages * (::sysconf(_SC_PAGESIZE) / 1024);
}

}  // namespace

Figures Figures::now() {
  const testing_support::HeapUse heap = testing_support::heapInUse();
  return {readResidentKiB(), heap, testing_support::heldNow()};
}

bool sameHolding(const Figures& before, const Figures& after) {
  return after.held == before.held && after.heap.bytes <= before.heap.bytes + waveringBytes &&
         after.heap.blocks <= before.heap.blocks + waveringBlocks &&
         (!residentTells || after.residentKiB <= before.residentKiB + waveringResidentKiB);
}

void printHeading(std::ostream& out) {
  out << std::setw(31) << "resident KiB" << std::setw(12) << "heap bytes" << std::setw(12) << "heap blocks"
      << std::setw(13) << "descriptors" << std::setw(9) << "threads" << '\n';
}

void print(std::ostream& out, const std::string& when, const Figures& figures) {
  out << "  " << std::left << std::setw(17) << when << std::right << std::setw(12) << figures.residentKiB
      << std::setw(12) << figures.heap.bytes << std::setw(12) << figures.heap.blocks << std::setw(13)
      << figures.held.descriptors << std::setw(9) << figures.held.threads << std::endl;
}

}  // namespace soak
