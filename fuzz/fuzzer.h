#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

/// Each fuzzer defines LLVMFuzzerTestOneInput. It is called by libFuzzer with generated inputs, or by replay.cpp with
/// the files of a directory.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

/// Reports a finding: unless the condition is true, prints which expectation was violated and aborts.
inline void require(bool condition, const char* expectation) {
  if (condition) return;
  std::fprintf(stderr, "fuzzer: violated: %s\n", expectation);
  std::abort();
}

/// Reads the bytes of one input from the front. At the end, byte returns 0 and text an empty string.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : bytes_(data, data + size) {}

  bool isEmpty() const { return taken_ == bytes_.size(); }
  unsigned byte() { return isEmpty() ? 0U : static_cast<unsigned char>(bytes_[taken_++]); }
  std::string text(std::size_t size) {
    std::string text = bytes_.substr(taken_, size);
    taken_ += text.size();
    return text;
  }
  std::string rest() { return text(bytes_.size()); }

 private:
  std::string bytes_;
  std::size_t taken_ = 0;
};

}  // namespace fuzz
