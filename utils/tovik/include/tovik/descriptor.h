#pragma once

#include <utility>

namespace tovik {

/// Owns one file descriptor and closes it.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor() { close(); }

  /// -1 when there is none.
  int number() const { return number_; }
  bool isOpen() const { return number_ >= 0; }
  void close();

 private:
  int number_ = -1;
};

}  // namespace tovik
