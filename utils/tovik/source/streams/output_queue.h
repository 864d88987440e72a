#pragma once

#include <list>
#include <string>

#include "tovik/descriptor.h"

namespace tovik {

class Socket;

/// The output of a channel that the kernel has not taken yet, in order. Not thread-safe.
class OutputQueue {
 public:
  enum class Outcome { drained, blocked, more, failed };

  bool isEmpty() const { return pieces_.empty(); }
  void add(const char* data, unsigned long size);
  void addFile(Descriptor file, long offset, unsigned long size);

  /// Hands over as many bytes as the kernel takes, but at most `budget`, and subtracts them from it. Returns `more` if
  /// the budget is used up.
  Outcome writeTo(Socket& socket, unsigned long& budget);

 private:
  /// Bytes or, if `file` is open, a part of a file.
  struct Piece {
    std::string bytes;
    Descriptor file;
    long offset = 0;
    unsigned long remaining = 0;

    bool isUntouched() const { return !file.isOpen() && remaining == bytes.size(); }
  };

  static long write(Socket& socket, Piece& piece, unsigned long size);

  std::list<Piece> pieces_;  // allocates nothing while it is empty, as it is on most connections
};

}  // namespace tovik
