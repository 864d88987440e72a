#pragma once

#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <iterator>
#include <ostream>
#include <string>
#include <thread>

#include "waiting.h"

namespace testing_support {

/// What the process holds of the system, to prove that a scenario left nothing behind.
struct Held {
  long descriptors;
  long threads;
  friend bool operator==(const Held&, const Held&) = default;
};

inline void PrintTo(const Held& held, std::ostream* out) {
  *out << held.descriptors << " descriptors, " << held.threads << " threads";
}

inline Held heldNow() {
  const auto count = [](const char* directory) {
    return static_cast<long>(std::distance(std::filesystem::directory_iterator(directory), {}));
  };
  return {count("/proc/self/fd"), count("/proc/self/task")};
}

/// The same, once a sanitizer has started the thread of its own that comes with the first one of the program.
inline Held heldAtRest() {
  static const bool begun = [] {
    std::string task;
    std::thread([&task] { task = "/proc/self/task/" + std::to_string(::gettid()); }).join();
    while (std::filesystem::exists(task)) std::this_thread::yield();
    return true;
  }();
  return begun ? heldNow() : Held{};
}

/// What the process holds when it holds no more than before, or at the deadline. A thread that has been joined may
/// stand in the kernel's list for a moment longer, which nothing tells the end of: hence the repetition.
inline Held heldInTheEnd(const Held& before) {
  const auto end = std::chrono::steady_clock::now() + deadline;
  while (heldNow() != before && std::chrono::steady_clock::now() < end) std::this_thread::yield();
  return heldNow();
}

}  // namespace testing_support
