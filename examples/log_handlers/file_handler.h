#pragma once

#include <qk/logging/logging.h>
#include <tovik/descriptor.h>

#include <memory>
#include <string>

namespace log_handlers {

/// A log handler that appends each record to a file, in the form given: textLine, jsonLine or one of the host's own.
///
///     const auto id = qk::logging::AddHandler(log_handlers::FileHandler("ftp.log", log_handlers::textLine));
///
/// The file is made where there is none, readable by its owner only: at level 0 records show passwords. Each line is
/// one write to the file's end, so those of several threads, handlers or processes do not mix.
///
/// Threads:   any, several at once.
/// Ownership: copies share the file, which is closed with the last of them. The log keeps a copy of its own.
class FileHandler {
 public:
  /// A whole line, with its end.
  using Format = std::string (*)(const qk::logging::Record& record);

  /// Throws std::system_error, which names the path, when the file can't be opened.
  FileHandler(const std::string& path, Format format);

  /// Throws std::system_error when the line can't be written; the log then says so on standard error.
  void operator()(const qk::logging::Record& record) const;

 private:
  std::string path_;
  Format format_;
  std::shared_ptr<const tovik::Descriptor> file_;
};

}  // namespace log_handlers
