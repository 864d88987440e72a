#pragma once

namespace testing_support {

// A program that links heap.cpp has its operator new counted, on all threads, and able to fail.

/// False: this build's sanitizer brings an operator new that cannot be replaced. Then memory is never scarce, and the
/// counts stay 0.
bool heapIsOurs();

/// What operator new has given out and not got back.
struct HeapUse {
  long bytes = 0;
  long blocks = 0;
};
HeapUse heapInUse();

/// How far the heap has grown since this was made. One at a time.
class HeapGrowth {
 public:
  HeapGrowth();

  long bytes() const { return heapInUse().bytes - before_; }
  long highestBytes() const;

 private:
  const long before_;
};

/// Grants this thread so many allocations by operator new from now on; the further ones throw std::bad_alloc.
void grantAllocations(int count);
void grantAllocationsFreely();
/// Whether any has been refused since grantAllocations, on this thread.
bool allocationsWereRefused();

/// The same for a scope.
class ScarceMemory {
 public:
  explicit ScarceMemory(int allocations) { grantAllocations(allocations); }
  ScarceMemory(const ScarceMemory&) = delete;
  ScarceMemory& operator=(const ScarceMemory&) = delete;
  ~ScarceMemory() { grantAllocationsFreely(); }
};

/// Lets one allocation by operator new fail while it lives: the one of that number, counted from 0 over all threads
/// that are not spared.
class FailingAllocation {
 public:
  explicit FailingAllocation(int number);
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;
  ~FailingAllocation();

  static bool hasFailed();
};

/// This thread's allocations neither fail nor count while it lives: for what a test needs itself.
class SparedMemory {
 public:
  SparedMemory();
  SparedMemory(const SparedMemory&) = delete;
  SparedMemory& operator=(const SparedMemory&) = delete;
  ~SparedMemory();
};

/// The opposite, inside a scope of SparedMemory.
class ChargedMemory {
 public:
  ChargedMemory();
  ChargedMemory(const ChargedMemory&) = delete;
  ChargedMemory& operator=(const ChargedMemory&) = delete;
  ~ChargedMemory();

 private:
  const int spared_;
};

}  // namespace testing_support
