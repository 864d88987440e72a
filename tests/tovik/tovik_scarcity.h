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

/// Makes system calls of the framework fail while it lives, on all threads.
class FailingCalls {
 public:
  /// The call of that number, counted from 0 over all kinds, fails once.
  static FailingCalls oneOnly(int number) { return FailingCalls(number, false); }
  /// Every second call of a kind that is to be repeated then is interrupted by a signal.
  static FailingCalls interrupted() { return FailingCalls(0, true); }
  FailingCalls(const FailingCalls&) = delete;
  FailingCalls& operator=(const FailingCalls&) = delete;
  ~FailingCalls();

  static bool anyFailed();

 private:
  FailingCalls(int number, bool interrupts);
};

}  // namespace testing_support
