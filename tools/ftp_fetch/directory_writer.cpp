#include "ftp_fetch/directory_writer.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string_view>

namespace ftp_fetch {

namespace {

tovik::Result failure(const std::string& what, int error) { return tovik::failure(what + ": " + std::strerror(error)); }

bool concernsEveryFile(int error) { return error == ENOSPC || error == EDQUOT || error == EROFS || error == EIO; }

bool writeAll(int file, std::string_view content) {
  while (!content.empty()) {
    const ssize_t written = ::write(file, content.data(), content.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    content.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

}  // namespace

tovik::Result DirectoryWriter::open(const std::string& directory) {
  std::error_code error;
  std::filesystem::create_directories(directory, error);
  if (error) return tovik::failure(directory + ": " + error.message());
  path_ = directory;
  directory_ = tovik::Descriptor(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  const bool usable = directory_.isOpen() && ::faccessat(directory_.number(), ".", W_OK | X_OK, AT_EACCESS) == 0;
  return usable ? tovik::Success : failure(directory, errno);
}

DirectoryWriter::Stored DirectoryWriter::store(const std::string& name, const std::string& content) {
  std::string temporary;
  const int file = create(temporary);
  if (file < 0) return directoryFailed(errno);
  Stored stored = store(name, temporary, file, content);
  if (!stored.result) ::unlinkat(directory_.number(), temporary.c_str(), 0);
  return stored;
}

/// Skips names that exist: an earlier run may have been killed.
int DirectoryWriter::create(std::string& temporary) {
  const std::string prefix = ".ftp_fetch-" + std::to_string(::getpid()) + "-";
  int file = -1;
  do {
    temporary = prefix + std::to_string(++created_);
    file = ::openat(directory_.number(), temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  } while (file < 0 && errno == EEXIST);
  return file;
}

DirectoryWriter::Stored DirectoryWriter::store(const std::string& name, const std::string& temporary, int file,
                                               const std::string& content) {
  const bool written = writeAll(file, content);
  const int error = errno;
  // Some file systems report a full disk only here.
  const bool closed = ::close(file) == 0;
  if (!written) return failed("write", error);
  if (!closed) return failed("close", errno);
  const int number = directory_.number();
  if (::renameat(number, temporary.c_str(), number, name.c_str()) != 0) return failed("rename", errno);
  return {tovik::Success};
}

DirectoryWriter::Stored DirectoryWriter::failed(const char* what, int error) const {
  return concernsEveryFile(error) ? directoryFailed(error) : Stored{failure(what, error)};
}

DirectoryWriter::Stored DirectoryWriter::directoryFailed(int error) const { return {failure(path_, error), true}; }

}  // namespace ftp_fetch
