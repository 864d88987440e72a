#pragma once

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace testing_support {

/// A new directory that every account may read, removed with all that it holds when this object is destroyed.
class TempDirectory {
 public:
  TempDirectory() {
    std::string pattern = (std::filesystem::temp_directory_path() / "tovik-test-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed for " + pattern);
    path_ = pattern;
    // A server that has given up its privileges must be able to enter.
    std::filesystem::permissions(path_, std::filesystem::perms(0755));
  }
  TempDirectory(const TempDirectory&) = delete;
  TempDirectory& operator=(const TempDirectory&) = delete;
  ~TempDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

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
