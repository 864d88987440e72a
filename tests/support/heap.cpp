#include "heap.h"

#include <malloc.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <new>
#include <utility>

// clang's thread sanitizer links its own operator new as a strong symbol.
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define OPERATOR_NEW_IS_TAKEN
#endif
#endif

namespace {

constexpr int plenty = std::numeric_limits<int>::max();

thread_local int allocationsLeft = plenty;
thread_local bool refused = false;
thread_local int spared = 0;

std::atomic<bool> oneAllocationFails{false};
std::atomic<int> allocationsBefore{0};
std::atomic<bool> allocationFailed{false};

std::atomic<long> bytesInUse{0};
std::atomic<long> blocksInUse{0};
std::atomic<long> highest{0};

}  // namespace

#ifndef OPERATOR_NEW_IS_TAKEN

namespace {

bool allocationIsToFail() {
  if (!oneAllocationFails.load(std::memory_order_relaxed) || spared > 0) return false;
  if (allocationsBefore.fetch_sub(1) != 0) return false;
  allocationFailed = true;
  return true;
}

void countAllocation(long bytes) {
  const long now = bytesInUse.fetch_add(bytes, std::memory_order_relaxed) + bytes;
  blocksInUse.fetch_add(1, std::memory_order_relaxed);
  long before = highest.load(std::memory_order_relaxed);
  while (before < now && !highest.compare_exchange_weak(before, now, std::memory_order_relaxed)) continue;
}

}  // namespace

void* operator new(std::size_t size) {
  if (allocationsLeft == 0) {
    refused = true;
    throw std::bad_alloc();
  }
  if (allocationsLeft != plenty) --allocationsLeft;
  if (allocationIsToFail()) throw std::bad_alloc();
  void* const memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  countAllocation(static_cast<long>(::malloc_usable_size(memory)));
  // As malloc may: who needs the errno of a call must have read it by now.
  errno = EDOM;
  return memory;
}

// Replaced as well, since a sanitizer's own would not fit the operator delete below.
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  try {
    return operator new(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void operator delete(void* memory) noexcept {
  if (memory == nullptr) return;
  bytesInUse.fetch_sub(static_cast<long>(::malloc_usable_size(memory)), std::memory_order_relaxed);
  blocksInUse.fetch_sub(1, std::memory_order_relaxed);
  std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept { operator delete(memory); }
void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept { operator delete(memory); }

#endif

namespace testing_support {

bool heapIsOurs() {
#ifdef OPERATOR_NEW_IS_TAKEN
  return false;
#else
  return true;
#endif
}

HeapUse heapInUse() { return {bytesInUse.load(), blocksInUse.load()}; }

HeapGrowth::HeapGrowth() : before_(bytesInUse.load()) { highest = before_; }

long HeapGrowth::highestBytes() const { return highest.load() - before_; }

void grantAllocations(int count) {
  allocationsLeft = count;
  refused = false;
}

void grantAllocationsFreely() { allocationsLeft = plenty; }

bool allocationsWereRefused() { return refused; }

FailingAllocation::FailingAllocation(int number) {
  allocationsBefore = number;
  allocationFailed = false;
  oneAllocationFails = true;
}

FailingAllocation::~FailingAllocation() { oneAllocationFails = false; }

bool FailingAllocation::hasFailed() { return allocationFailed.load(); }

SparedMemory::SparedMemory() { ++spared; }

SparedMemory::~SparedMemory() { --spared; }

ChargedMemory::ChargedMemory() : spared_(std::exchange(spared, 0)) {}

ChargedMemory::~ChargedMemory() { spared = spared_; }

}  // namespace testing_support
