#pragma once

#include <cstdint>
#include <cstring>
#include <string>

namespace testing_support {

/// The same each time: bytes of every value, zeros and line ends among them, so unlike from place to place that no lost
/// or doubled stretch goes unseen.
inline std::string sampleBytes(std::string::size_type size) {
  std::uint64_t state = 88172645463325252U;
  std::string bytes((size / sizeof state + 1) * sizeof state, '\0');
  for (std::string::size_type at = 0; at < bytes.size(); at += sizeof state) {
    state ^= state << 13U;
    state ^= state >> 7U;
    state ^= state << 17U;
    std::memcpy(&bytes[at], &state, sizeof state);
  }
  bytes.resize(size);
  return bytes;
}

}  // namespace testing_support
