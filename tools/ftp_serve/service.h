#pragma once

#include <string>

#include "ftp_serve/file_tree.h"

namespace ftp_serve {

/// What all sessions of a server share. Constant while the server runs.
struct Service {
  FileTree tree;
  /// If empty, anybody may log in, with any password.
  std::string user;
  std::string password;

  bool admits(const std::string& name, const std::string& word) const {
    return user.empty() || (name == user && word == password);
  }
};

}  // namespace ftp_serve
