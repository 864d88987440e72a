#pragma once

#include <tovik/descriptor.h>
#include <tovik/result.h>

#include <string>

namespace ftp_fetch {

/// Puts whole files into one directory. A file of a name that is there already is replaced.
///
/// Threads: one at a time.
class DirectoryWriter {
 public:
  /// Makes the directory where there is none.
  tovik::Result open(const std::string& directory);

  /// The file appears under its name only when it is whole; a failure leaves nothing of it behind. The name is a plain
  /// file name.
  tovik::Result store(const std::string& name, const std::string& content);

 private:
  int create(std::string& temporary);
  tovik::Result store(const std::string& name, const std::string& temporary, int file, const std::string& content);

  tovik::Descriptor directory_;
  unsigned long created_ = 0;
};

}  // namespace ftp_fetch
