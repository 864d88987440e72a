#pragma once

#include <utility>

#include "tovik/visibility.h"

namespace tovik {

/// Owns one file descriptor and closes it.
class TOVIK_API Descriptor {
 public:
  Descriptor() = default;
  /// Takes ownership of a descriptor; -1 means none.
  explicit Descriptor(int number) : number_(number) {}
  /// Leaves the other without a descriptor.
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  /// Swaps the two.
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor() { close(); }

  /// -1 if there is none.
  int number() const { return number_; }
  /// Whether there is one.
  bool isOpen() const { return number_ >= 0; }
  /// Does nothing if there is none.
  void close();

 private:
  int number_ = -1;
};

}  // namespace tovik
