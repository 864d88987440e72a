#pragma once

#include <tovik/descriptor.h>
#include <tovik/result.h>

#include <string>

namespace ftp_serve {

/// A directory tree that is served read-only. Nothing outside the tree can be reached, whether by a path, a symbolic
/// link or a rename during a lookup.
///
/// Paths are those that clients see: absolute, with "/" as the root of the tree, without "." and "..".
/// Threads: any, once open has returned.
class FileTree {
 public:
  /// A file that is open for reading, and its size when it was opened.
  struct File {
    tovik::Descriptor descriptor;
    unsigned long size = 0;
  };

  /// Fails if the directory can't be opened, or if the kernel (before 5.6) can't restrict lookups to it.
  tovik::Result open(const std::string& root);

  /// The path of a name that a client gave, relative to its current directory.
  static std::string resolve(const std::string& directory, const std::string& name);

  /// Error messages are meant for the client: the path and the reason.
  tovik::Result openFile(const std::string& path, File& file) const;
  tovik::Result checkDirectory(const std::string& path) const;
  /// Sets listing to the names in a directory, sorted, each preceded by the prefix and followed by CR LF. Omits names
  /// that contain a line end: a client would read them as two.
  tovik::Result list(const std::string& path, const std::string& prefix, std::string& listing) const;

 private:
  tovik::Descriptor lookUp(const std::string& path, unsigned flags) const;

  tovik::Descriptor root_;
};

}  // namespace ftp_serve
