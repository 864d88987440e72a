#pragma once

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

/// The same, after a sanitizer has started its own thread, which comes with the first one of the program.
inline Held heldAtRest() {
  static const bool begun = [] {
    std::thread([] {}).join();
    return true;
  }();
  return begun ? heldNow() : Held{};
}

/// What the process holds once it holds what it did before, or at the deadline. Other threads may release theirs a
/// moment later, which no event reports.
inline Held heldInTheEnd(const Held& before) {
  static_cast<void>(eventually([&] { return heldNow() == before; }));
  return heldNow();
}

}  // namespace testing_support
