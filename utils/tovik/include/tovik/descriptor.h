#pragma once

#include <utility>

#include "tovik/visibility.h"

namespace tovik {

/// Owns one file descriptor and closes it.
class TOVIK_API Descriptor {
 public:
  Descriptor() = default;
  /// Takes a descriptor over; -1 stands for none.
  explicit Descriptor(int number) : number_(number) {}
  /// Leaves the other without one.
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  /// Leaves the other with what this one had.
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor() { close(); }

  /// -1 when there is none.
  int number() const { return number_; }
  /// Whether there is one.
  bool isOpen() const { return number_ >= 0; }
  /// Does nothing when there is none.
  void close();

 private:
  int number_ = -1;
};

}  // namespace tovik
