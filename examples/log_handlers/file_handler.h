#pragma once

#include <qk/logging/logging.h>
#include <tovik/descriptor.h>

#include <memory>
#include <string>

namespace log_handlers {

/// A log handler that appends each record to a file, in a given format: textLine, jsonLine or one of the host's own.
///
///     const auto id = qk::logging::AddHandler(log_handlers::FileHandler("ftp.log", log_handlers::textLine));
///
/// Creates the file if it doesn't exist, readable only by its owner: at level 0 records show passwords. Appends each
/// line with one write, so lines of several threads, handlers or processes don't mix.
///
/// Threads:   any, including several at once.
/// Ownership: copies share the file, which is closed with the last copy. The log keeps a copy of its own.
class FileHandler {
 public:
  /// Returns a complete line, with its line end.
  using Format = std::string (*)(const qk::logging::Record& record);

  /// Throws std::system_error, which names the path, if the file can't be opened.
  FileHandler(const std::string& path, Format format);

  /// Throws std::system_error if the line can't be written; the log then reports this on standard error.
  void operator()(const qk::logging::Record& record) const;

 private:
  std::string path_;
  Format format_;
  std::shared_ptr<const tovik::Descriptor> file_;
};

}  // namespace log_handlers
