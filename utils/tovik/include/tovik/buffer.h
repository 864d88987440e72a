#pragma once

#include "tovik/visibility.h"

namespace tovik {

/// A read position in bytes that it does not own. They must outlive the Buffer.
class TOVIK_API Buffer {
 public:
  /// Has no storage.
  Buffer() = default;
  /// Starts at the first of size bytes.
  Buffer(char* storage, unsigned long size) : curr_(storage), end_(storage + size) {}

  /// The first unread byte.
  char* curr() const { return curr_; }
  /// The number of bytes from the current position to the end; 0 without storage.
  unsigned long remaining() const { return curr_ == nullptr ? 0 : static_cast<unsigned long>(end_ - curr_); }
  /// Advances the position by count bytes. REQUIRES: count <= remaining().
  void consume(unsigned long count) { curr_ += count; }

 private:
  char* curr_ = nullptr;
  char* end_ = nullptr;
};

}  // namespace tovik
