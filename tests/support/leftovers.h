#pragma once

#include <filesystem>
#include <iterator>

namespace testing_support {

/// What the process holds of the system, to prove that a scenario left nothing behind.
struct Held {
  long descriptors;
  long threads;
  friend bool operator==(const Held&, const Held&) = default;
};

inline Held heldNow() {
  const auto count = [](const char* directory) {
    return static_cast<long>(std::distance(std::filesystem::directory_iterator(directory), {}));
  };
  return {count("/proc/self/fd"), count("/proc/self/task")};
}

}  // namespace testing_support
