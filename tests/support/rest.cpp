#include "rest.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "waiting.h"

namespace testing_support {

namespace fs = std::filesystem;

namespace {

/// The state stands behind the thread's name, which is in parentheses and may hold others. One that has ended since is
/// taken for one that runs.
bool sleeps(const fs::path& task) {
  std::ifstream file(task / "stat");
  std::string text;
  std::getline(file, text);
  const auto nameEnd = text.rfind(')');
  return nameEnd != std::string::npos && text.compare(nameEnd, 3, ") S") == 0;
}

}  // namespace

bool othersSleep() {
  const auto own = std::to_string(::gettid());
  return std::all_of(fs::directory_iterator("/proc/self/task"), {}, [&own](const fs::directory_entry& task) {
    return task.path().filename() == own || sleeps(task.path());
  });
}

bool othersComeToRest(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + deadline;
  while (!condition() || !othersSleep()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::yield();
  }
  return true;
}

}  // namespace testing_support
