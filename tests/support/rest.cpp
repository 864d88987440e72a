#include "rest.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "task_stat.h"
#include "waiting.h"

namespace testing_support {

namespace fs = std::filesystem;

bool othersSleep() {
  const auto own = std::to_string(::gettid());
  return std::all_of(fs::directory_iterator("/proc/self/task"), {}, [&own](const fs::directory_entry& task) {
    return task.path().filename() == own || taskStat(task.path()).state == 'S';
  });
}

bool othersComeToRest(const std::function<bool()>& condition) {
  return eventually([&] { return condition() && othersSleep(); });
}

}  // namespace testing_support
