#pragma once

namespace testing_support {

// A program that links failing_calls has its framework's system calls counted, and able to fail.

/// Counts what the framework has received, on all threads.
class ReceiveCounter {
 public:
  static unsigned long long bytes();
  /// A descriptor that becomes readable when there are more; clearEvent makes it unreadable again.
  static int event();
  static void clearEvent();
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
  /// Whether one failed that is not made up for by calling once more, as an interrupted one is and a short one.
  static bool anyHarmed();

 private:
  FailingCalls(int number, unsigned error, bool interrupts);
};

}  // namespace testing_support
