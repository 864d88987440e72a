#include "streams/output_queue.h"

#include <algorithm>
#include <utility>

#include "tovik/socket.h"

namespace tovik {

namespace {

constexpr unsigned long pieceBytes = 1UL << 20U;

}  // namespace

void OutputQueue::add(const char* data, unsigned long size) {
  // Appending to a partly sent piece would keep its sent bytes until the queue is empty, which may never happen.
  if (!pieces_.empty() && pieces_.back().isUntouched() && pieces_.back().remaining < pieceBytes) {
    pieces_.back().bytes.append(data, size);
    pieces_.back().remaining += size;
    return;
  }
  Piece piece;
  piece.bytes.assign(data, size);
  piece.remaining = size;
  pieces_.push_back(std::move(piece));
}

void OutputQueue::addFile(Descriptor file, long offset, unsigned long size) {
  if (size == 0) return;
  Piece piece;
  piece.file = std::move(file);
  piece.offset = offset;
  piece.remaining = size;
  pieces_.push_back(std::move(piece));
}

OutputQueue::Outcome OutputQueue::writeTo(Socket& socket, unsigned long& budget) {
  while (!pieces_.empty()) {
    if (budget == 0) return Outcome::more;
    Piece& piece = pieces_.front();
    const long moved = write(socket, piece, std::min(piece.remaining, budget));
    if (moved == Socket::wouldBlock) return Outcome::blocked;
    // An error, or the file is shorter than it was.
    if (moved <= 0) return Outcome::failed;
    piece.remaining -= static_cast<unsigned long>(moved);
    budget -= static_cast<unsigned long>(moved);
    if (piece.remaining == 0) pieces_.pop_front();
  }
  return Outcome::drained;
}

long OutputQueue::write(Socket& socket, Piece& piece, unsigned long size) {
  if (piece.file.isOpen()) return socket.sendFile(piece.file.number(), piece.offset, size);
  return socket.send(piece.bytes.data() + (piece.bytes.size() - piece.remaining), size);
}

}  // namespace tovik
