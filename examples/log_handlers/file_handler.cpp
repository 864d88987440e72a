#include "log_handlers/file_handler.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <system_error>

namespace log_handlers {

namespace {

constexpr mode_t ownerOnly = 0600;

[[noreturn]] void fail(const std::string& path) { throw std::system_error(errno, std::generic_category(), path); }

}  // namespace

FileHandler::FileHandler(const std::string& path, Format format)
    : path_(path),
      format_(format),
      file_(std::make_shared<const tovik::Descriptor>(
          ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, ownerOnly))) {
  if (!file_->isOpen()) fail(path);
}

void FileHandler::operator()(const qk::logging::Record& record) const {
  const std::string line = format_(record);
  for (std::string_view left = line; !left.empty();) {
    const ssize_t written = ::write(file_->number(), left.data(), left.size());
    if (written < 0 && errno != EINTR) fail(path_);
    if (written > 0) left.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace log_handlers
