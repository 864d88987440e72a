#include "ftp_serve/file_tree.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <sstream>
#include <vector>

namespace ftp_serve {

namespace {

struct DirectoryCloser {
  void operator()(DIR* directory) const { ::closedir(directory); }
};
using Directory = std::unique_ptr<DIR, DirectoryCloser>;

tovik::Result failed(const std::string& path, int error) {
  // A link that leads out of the tree is reported as missing, so that clients learn nothing about what is outside.
  return tovik::failure(path + ": " + std::strerror(error == EXDEV ? ENOENT : error));
}

bool isEntry(const std::string& name) {
  return name != "." && name != ".." && name.find_first_of("\r\n") == std::string::npos;
}

std::vector<std::string> namesIn(DIR* directory) {
  std::vector<std::string> names;
  while (const dirent* const entry = ::readdir(directory))
    if (isEntry(entry->d_name)) names.emplace_back(entry->d_name);
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace

tovik::Result FileTree::open(const std::string& root) {
  root_ = tovik::Descriptor(::open(root.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!root_.isOpen()) return failed(root, errno);
  return lookUp("/", O_PATH).isOpen() ? tovik::Success : failed("openat2", errno);
}

std::string FileTree::resolve(const std::string& directory, const std::string& name) {
  std::vector<std::string> parts;
  std::istringstream whole(name.starts_with('/') ? name : directory + "/" + name);
  for (std::string part; std::getline(whole, part, '/');) {
    if (part == ".." && !parts.empty()) parts.pop_back();
    if (!part.empty() && part != "." && part != "..") parts.push_back(part);
  }
  std::string path;
  for (const auto& part : parts) path += "/" + part;
  return path.empty() ? "/" : path;
}

/// The kernel keeps the lookup beneath the root. A check before the lookup would not suffice: after the check, a
/// directory could be replaced by a link that leads out. Returns a closed descriptor and sets errno on failure.
tovik::Descriptor FileTree::lookUp(const std::string& path, unsigned flags) const {
  if (path.find('\0') != std::string::npos) {
    errno = ENOENT;
    return {};
  }
  const std::string relative = path == "/" ? "." : path.substr(1);
  open_how how{};
  how.flags = flags | O_CLOEXEC;
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS;
  return tovik::Descriptor(
      static_cast<int>(::syscall(SYS_openat2, root_.number(), relative.c_str(), &how, sizeof how)));
}

tovik::Result FileTree::openFile(const std::string& path, File& file) const {
  // Without O_NONBLOCK, opening a pipe would block this worker until the pipe has a writer.
  file.descriptor = lookUp(path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
  if (!file.descriptor.isOpen()) return failed(path, errno);
  struct stat status {};
  if (::fstat(file.descriptor.number(), &status) != 0) return failed(path, errno);
  if (!S_ISREG(status.st_mode)) return tovik::failure(path + ": Not a regular file");
  file.size = static_cast<unsigned long>(status.st_size);
  return tovik::Success;
}

tovik::Result FileTree::checkDirectory(const std::string& path) const {
  return lookUp(path, O_PATH | O_DIRECTORY).isOpen() ? tovik::Success : failed(path, errno);
}

tovik::Result FileTree::list(const std::string& path, const std::string& prefix, std::string& listing) const {
  const tovik::Descriptor found = lookUp(path, O_RDONLY | O_DIRECTORY);
  // The directory stream closes its descriptor, so it gets a duplicate.
  const int number = found.isOpen() ? ::fcntl(found.number(), F_DUPFD_CLOEXEC, 0) : -1;
  const Directory directory(number < 0 ? nullptr : ::fdopendir(number));
  if (directory == nullptr) {
    const int error = errno;
    if (number >= 0) ::close(number);
    return failed(path, error);
  }
  for (const auto& name : namesIn(directory.get())) listing += prefix + name + "\r\n";
  return tovik::Success;
}

}  // namespace ftp_serve
