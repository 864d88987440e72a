#pragma once

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace testing_support {

/// What the kernel says of a thread, in /proc/self/task/<number>/stat.
struct TaskStat {
  /// '?' where the thread has ended.
  char state = '?';
  bool isEnding = true;
};

inline TaskStat taskStat(const std::filesystem::path& task) {
  std::ifstream file(task / "stat");
  std::string text;
  std::getline(file, text);
  // The name is in parentheses and may hold others.
  const auto nameEnd = text.rfind(')');
  if (nameEnd == std::string::npos) return {};
  std::istringstream fields(text.substr(nameEnd + 1));
  TaskStat stat;
  std::string parent, group, session, terminal, terminalGroup;
  unsigned long flags = 0;
  fields >> stat.state >> parent >> group >> session >> terminal >> terminalGroup >> flags;
  constexpr unsigned long exiting = 4;  // the kernel's PF_EXITING
  stat.isEnding = (flags & exiting) != 0;
  return stat;
}

}  // namespace testing_support
