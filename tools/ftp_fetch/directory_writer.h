#pragma once

#include <tovik/descriptor.h>
#include <tovik/result.h>

#include <atomic>
#include <string>

namespace ftp_fetch {

/// Stores complete files in one directory. Replaces existing files of the same name.
///
/// Threads: any, once open has returned.
class DirectoryWriter {
 public:
  /// The result of storing a file.
  struct Stored {
    tovik::Result result;
    bool directoryFailed = false;  ///< other files would fail too, for example because the disk is full
  };

  /// Creates the directory if it doesn't exist. Fails if files can't be created in it.
  tovik::Result open(const std::string& directory);

  /// The file appears under its name only when it is complete; a failure leaves no file behind. The name must be a
  /// plain file name.
  Stored store(const std::string& name, const std::string& content);

 private:
  int create(std::string& temporary);
  Stored store(const std::string& name, const std::string& temporary, int file, const std::string& content);
  Stored failed(const char* what, int error) const;
  Stored directoryFailed(int error) const;

  std::string path_;
  tovik::Descriptor directory_;
  std::atomic<unsigned long> created_ = 0;
};

}  // namespace ftp_fetch
