#pragma once

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace testing_support {

/// A directory of its own for one test, gone with everything in it afterwards.
class TempDirectory {
 public:
  TempDirectory() {
    std::string pattern = (std::filesystem::temp_directory_path() / "examples_test-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed for " + pattern);
    path_ = pattern;
  }
  TempDirectory(const TempDirectory&) = delete;
  TempDirectory& operator=(const TempDirectory&) = delete;
  ~TempDirectory() { std::filesystem::remove_all(path_); }

  std::filesystem::path path() const { return path_; }
  std::string operator/(const std::string& name) const { return (path_ / name).string(); }

  void write(const std::string& name, const std::string& content) const {
    std::filesystem::create_directories((path_ / name).parent_path());
    std::ofstream(path_ / name, std::ios::binary) << content;
  }

  std::string read(const std::string& name) const {
    std::ifstream file(path_ / name, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
  }

  /// The names in it, hidden ones too, sorted.
  std::vector<std::string> names() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path_)) names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
  }

 private:
  std::filesystem::path path_;
};

}  // namespace testing_support
