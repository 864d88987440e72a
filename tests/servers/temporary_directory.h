#pragma once

#include <filesystem>

namespace test_servers {

/// A new directory that every account may read, removed with all it holds when this object goes.
class TemporaryDirectory {
 public:
  /// Throws std::system_error where none can be made.
  TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  ~TemporaryDirectory();

  const std::filesystem::path& path() const { return path_; }

 private:
  const std::filesystem::path path_;
};

}  // namespace test_servers
