#include "temporary_directory.h"

#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>

namespace test_servers {
namespace fs = std::filesystem;

namespace {

fs::path makeDirectory() {
  std::string path = fs::temp_directory_path() / "tovik-test-XXXXXX";
  if (mkdtemp(path.data()) == nullptr) throw std::system_error(errno, std::generic_category(), "mkdtemp " + path);
  // A server that has given up its privileges must be able to enter.
  fs::permissions(path, fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec | fs::perms::others_read |
                            fs::perms::others_exec);
  return path;
}

}  // namespace

TemporaryDirectory::TemporaryDirectory() : path_(makeDirectory()) {}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

}  // namespace test_servers
