#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

/// What the fuzzers share. Each is one LLVMFuzzerTestOneInput, driven by libFuzzer with inputs of its making, or by
/// replay.cpp with the files of a directory.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

/// Ends the process, and says what for, unless the condition holds: that is how a fuzzer reports a finding.
inline void require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "fuzzer: not so: %s\n", what);
  std::abort();
}

/// The bytes of one input, taken from the front. Once they are used up, bytes are 0 and texts empty.
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
