#include "heap.h"

#include <malloc.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

// clang's thread sanitizer links its own operator new as a strong symbol.
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define OPERATOR_NEW_IS_TAKEN
#endif
#endif

namespace {

std::atomic<long> bytesInUse{0};
std::atomic<long> blocksInUse{0};
std::atomic<long> highest{0};

}  // namespace

#ifndef OPERATOR_NEW_IS_TAKEN

void* operator new(std::size_t size) {
  void* const memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  const auto given = static_cast<long>(::malloc_usable_size(memory));
  const long now = bytesInUse.fetch_add(given, std::memory_order_relaxed) + given;
  blocksInUse.fetch_add(1, std::memory_order_relaxed);
  long before = highest.load(std::memory_order_relaxed);
  while (before < now && !highest.compare_exchange_weak(before, now, std::memory_order_relaxed)) continue;
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

bool heapIsCounted() {
#ifdef OPERATOR_NEW_IS_TAKEN
  return false;
#else
  return true;
#endif
}

HeapUse heapInUse() { return {bytesInUse.load(), blocksInUse.load()}; }

HeapGrowth::HeapGrowth() : before_(bytesInUse.load()) { highest = before_; }

long HeapGrowth::highestBytes() const { return highest.load() - before_; }

}  // namespace testing_support
