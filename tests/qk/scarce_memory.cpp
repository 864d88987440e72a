#include "scarce_memory.h"

#include <cstddef>
#include <cstdlib>
#include <limits>
#include <new>

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

}  // namespace

#ifndef OPERATOR_NEW_IS_TAKEN

void* operator new(std::size_t size) {
  if (allocationsLeft == 0) {
    refused = true;
    throw std::bad_alloc();
  }
  if (allocationsLeft != plenty) {
    --allocationsLeft;
  }
  void* const memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

#endif

namespace qk::logging {

bool memoryCanBeScarce() {
#ifdef OPERATOR_NEW_IS_TAKEN
  return false;
#else
  return true;
#endif
}

ScarceMemory::ScarceMemory(int allocations) {
  allocationsLeft = allocations;
  refused = false;
}

ScarceMemory::~ScarceMemory() { allocationsLeft = plenty; }

bool ScarceMemory::sufficed() const { return !refused; }

}  // namespace qk::logging
