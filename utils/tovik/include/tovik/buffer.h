#pragma once

#include "tovik/visibility.h"

namespace tovik {

/// A position in a stretch of bytes that somebody else owns and keeps for as long as the Buffer is used.
class TOVIK_API Buffer {
 public:
  /// Holds no storage at all.
  Buffer() = default;
  /// Begins at the first of size bytes.
  Buffer(char* storage, unsigned long size) : curr_(storage), end_(storage + size) {}

  /// The first unread byte.
  char* curr() const { return curr_; }
  /// How many bytes there are from the current position to the end; 0 without storage.
  unsigned long remaining() const { return curr_ == nullptr ? 0 : static_cast<unsigned long>(end_ - curr_); }
  /// Moves the position on by count bytes, at most remaining().
  void consume(unsigned long count) { curr_ += count; }

 private:
  char* curr_ = nullptr;
  char* end_ = nullptr;
};

}  // namespace tovik
