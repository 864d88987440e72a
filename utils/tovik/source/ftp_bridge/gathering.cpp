#include "gathering.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <new>

// Receiving a big file spends most of its time on page faults in fresh memory and on copying whenever the string grows.
// Reserved address space costs nothing until it is touched, so a string of more than a megabyte grows in a few very
// large steps. Huge pages, requested from the kernel, reduce the page faults by a factor of 512.

namespace tovik::ftp {

namespace {

constexpr unsigned long bigBytes = 1UL << 20U;

bool reserve(std::string& gathered, unsigned long capacity) {
  if (capacity > gathered.max_size()) return false;
  try {
    gathered.reserve(capacity);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

/// Only a hint: the memory can be used without huge pages, too.
void adviseHugePages(char* memory, unsigned long size) {
  const auto page = static_cast<unsigned long>(::sysconf(_SC_PAGESIZE));
  const unsigned long before = (page - reinterpret_cast<std::uintptr_t>(memory) % page) % page;
  ::madvise(memory + before, (size - before) / page * page, MADV_HUGEPAGE);
}

/// std::string at least doubles its capacity when it grows. A new string can be made smaller than that.
void moveToFit(std::string& gathered, unsigned long needed) {
  std::string larger;
  if (!reserve(larger, needed + needed / 4) && !reserve(larger, needed + needed / 16)) larger.reserve(needed);
  larger = gathered;
  gathered.swap(larger);
}

/// Grows by the largest factor that can be allocated. The address space may be limited, and the kernel refuses requests
/// that exceed what it could ever supply.
void makeRoom(std::string& gathered, unsigned long size) {
  const unsigned long needed = gathered.size() + size;
  for (const unsigned long fold : {64UL, 8UL, 2UL}) {
    if (!reserve(gathered, std::max(needed, gathered.capacity() * fold))) continue;
    return adviseHugePages(gathered.data(), gathered.capacity());
  }
  moveToFit(gathered, needed);
}

}  // namespace

void gather(std::string& gathered, const char* data, unsigned long size) {
  const bool full = gathered.capacity() - gathered.size() < size;
  if (full && gathered.capacity() >= bigBytes) makeRoom(gathered, size);
  gathered.append(data, size);
}

}  // namespace tovik::ftp
