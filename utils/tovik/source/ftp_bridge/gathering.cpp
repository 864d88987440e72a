#include "gathering.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <new>

// Most of the time that a big file takes goes into memory that is touched for the first time, and into copying at each
// growth. Address space that is reserved and not touched costs nothing: so a string that has passed a megabyte grows in
// very few, very large steps, and the kernel is asked for huge pages, which are touched 512 times less often.

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

/// Advice: where it can't be taken, the memory serves all the same.
void adviseHugePages(char* memory, unsigned long size) {
  const auto page = static_cast<unsigned long>(::sysconf(_SC_PAGESIZE));
  const unsigned long before = (page - reinterpret_cast<std::uintptr_t>(memory) % page) % page;
  ::madvise(memory + before, (size - before) / page * page, MADV_HUGEPAGE);
}

/// A string never grows to less than twice its capacity; a fresh one may.
void moveToFit(std::string& gathered, unsigned long needed) {
  std::string larger;
  if (!reserve(larger, needed + needed / 4) && !reserve(larger, needed + needed / 16)) larger.reserve(needed);
  larger = gathered;
  gathered.swap(larger);
}

/// The largest step that the address space allows: it may be limited, and the kernel refuses more than it could ever
/// give.
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
