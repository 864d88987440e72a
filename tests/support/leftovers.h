#pragma once

#include <chrono>
#include <filesystem>
#include <iterator>
#include <ostream>
#include <thread>

#include "task_stat.h"
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

/// The kernel's list may show a joined thread for a moment longer; it does not count.
inline Held heldNow() {
  Held held{};
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task"))
    if (!taskStat(task.path()).isEnding) ++held.threads;
  held.descriptors = std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
  return held;
}

/// The same, once a sanitizer has started the thread of its own that comes with the first one of the program.
inline Held heldAtRest() {
  static const bool begun = [] {
    std::thread([] {}).join();
    return true;
  }();
  return begun ? heldNow() : Held{};
}

/// What the process holds when it holds no more than before, or at the deadline. What other threads release they may
/// release a moment later, which nothing tells the end of: hence the repetition.
inline Held heldInTheEnd(const Held& before) {
  const auto end = std::chrono::steady_clock::now() + deadline;
  while (heldNow() != before && std::chrono::steady_clock::now() < end) std::this_thread::yield();
  return heldNow();
}

}  // namespace testing_support
