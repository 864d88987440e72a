#pragma once

namespace testing_support {

/// False: this build's sanitizer brings an operator new that cannot be replaced, so memory is never scarce.
bool memoryCanBeScarce();

/// Bytes that operator new has given out and not got back, on all threads; always 0 where memory can't be scarce.
long bytesInUse();

/// Grants this thread so many allocations by operator new from now on; the further ones throw std::bad_alloc.
void grantAllocations(int count);
void grantAllocationsFreely();
/// Whether any has been asked for in vain since grantAllocations, on this thread.
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

/// What the framework has received, on all threads.
class Reception {
 public:
  static unsigned long long bytes();
  /// Becomes readable whenever there are more; takeNews makes it unreadable again.
  static int news();
  static void takeNews();
};

/// Makes system calls of the framework fail while it lives, on all threads.
class FailingCalls {
 public:
  /// The call of that number, counted from 0 over all kinds, fails once, with the given one of its plausible errors.
  /// Where it has fewer of them, nothing fails.
  static FailingCalls oneOnly(int number, unsigned error = 0) { return FailingCalls(number, error, false); }
  /// Every second call of a kind that is to be repeated then is interrupted by a signal.
  static FailingCalls interrupted() { return FailingCalls(0, 0, true); }
  FailingCalls(const FailingCalls&) = delete;
  FailingCalls& operator=(const FailingCalls&) = delete;
  ~FailingCalls();

  static bool anyFailed();

 private:
  FailingCalls(int number, unsigned error, bool interrupts);
};

}  // namespace testing_support
