#pragma once

#include <tovik/descriptor.h>
#include <tovik/result.h>

#include <atomic>
#include <string>

namespace ftp_fetch {

/// Puts whole files into one directory. A file of a name that is there already is replaced.
///
/// Threads: open first; then any.
class DirectoryWriter {
 public:
  /// How it went with a file.
  struct Stored {
    tovik::Result result;
    bool directoryFailed = false;  ///< no other file would fare better: the disk is full, say
  };

  /// Makes the directory where there is none. Fails, too, where no file could be made in it.
  tovik::Result open(const std::string& directory);

  /// The file appears under its name only when it is whole; a failure leaves nothing of it behind. The name is a plain
  /// file name.
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
