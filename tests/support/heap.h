#pragma once

namespace testing_support {

// A program that links heap.cpp has its operator new counted, on all threads.

/// False: this build's sanitizer brings an operator new that cannot be replaced, and the counts stay 0.
bool heapIsCounted();

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

}  // namespace testing_support
