#pragma once

#include <tovik/descriptor.h>
#include <tovik/result.h>

#include <string>

namespace ftp_serve {

/// A directory tree that is served read-only. Nothing outside it can be reached: no path, no symbolic link and no
/// rename at the wrong moment leads there.
///
/// Paths are those that clients see: absolute, "/" being the root of the tree, without "." and "..".
/// Threads: any, once opened.
class FileTree {
 public:
  /// A file that is open for reading, and its size at that moment.
  struct File {
    tovik::Descriptor descriptor;
    unsigned long size = 0;
  };

  /// Fails when the directory can't be opened, or the kernel (before 5.6) can't keep lookups inside it.
  tovik::Result open(const std::string& root);

  /// The path that a client means by a name, seen from its directory.
  static std::string resolve(const std::string& directory, const std::string& name);

  /// Failures say what a client may know: the path and the reason.
  tovik::Result openFile(const std::string& path, File& file) const;
  tovik::Result checkDirectory(const std::string& path) const;
  /// The names in a directory, sorted, each with the prefix before it and CR LF behind it. A name that holds a line
  /// end itself would read as two, and is left out.
  tovik::Result list(const std::string& path, const std::string& prefix, std::string& listing) const;

 private:
  tovik::Descriptor lookUp(const std::string& path, unsigned flags) const;

  tovik::Descriptor root_;
};

}  // namespace ftp_serve
