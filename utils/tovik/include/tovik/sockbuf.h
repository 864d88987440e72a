#pragma once

#include <array>
#include <streambuf>
#include <string>

#include "tovik/buffer.h"
#include "tovik/send_destination.h"
#include "tovik/visibility.h"

namespace tovik {

/// A stream buffer that sends what is written through it, in one piece, when it is flushed or destroyed.
///
/// Ownership: copies the destination; borrows its channel and the buffer. The text is gathered in the buffer, or in the
///            sockbuf itself if there is none, and on the heap once it outgrows either.
/// Errors:    if memory runs out, sends nothing and ends the connection, because half a command must never reach a
///            server.
class TOVIK_API sockbuf : public std::streambuf {
 public:
  /// The buffer may be null.
  sockbuf(const SendDestination& destination, Buffer* buffer);
  sockbuf(const sockbuf&) = delete;
  sockbuf& operator=(const sockbuf&) = delete;
  ~sockbuf() override;

 protected:
  /// Moves the text to the heap.
  int_type overflow(int_type character) override;
  /// Sends what was written since the last flush.
  int sync() override;

 private:
  const SendDestination destination_;
  std::array<char, 512> own_;
  std::string outgrown_;
  bool lost_ = false;
};

}  // namespace tovik
