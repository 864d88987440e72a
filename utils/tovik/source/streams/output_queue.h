#pragma once

#include <list>
#include <string>

#include "tovik/descriptor.h"

namespace tovik {

class Socket;

/// What has been sent on a channel and not been taken by the kernel yet, in order. Not thread-safe.
class OutputQueue {
 public:
  enum class Outcome { drained, blocked, more, failed };

  bool isEmpty() const { return pieces_.empty(); }
  void add(const char* data, unsigned long size);
  void addFile(Descriptor file, long offset, unsigned long size);

  /// Hands over what the kernel takes, at most `budget` bytes: `more` says that it would take more. What is left of the
  /// budget stands in it afterwards.
  Outcome writeTo(Socket& socket, unsigned long& budget);

 private:
  /// Bytes, or a stretch of a file where that is open.
  struct Piece {
    std::string bytes;
    Descriptor file;
    long offset = 0;
    unsigned long remaining = 0;

    bool isUntouched() const { return !file.isOpen() && remaining == bytes.size(); }
  };

  static long write(Socket& socket, Piece& piece, unsigned long size);

  std::list<Piece> pieces_;  // takes no memory while it is empty, as it is on most connections
};

}  // namespace tovik
