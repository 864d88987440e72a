#include "connections/send_side.h"

#include <new>
#include <utility>

#include "connections/connection.h"
#include "tovik/connection_counters.h"
#include "tovik/socket_dir.h"
#include "tovik/worker_thread.h"

namespace tovik {

namespace {

// After sending this many bytes, a connection yields to the others on its worker.
constexpr unsigned long sentPerTurn = 4UL << 20U;

}  // namespace

SendSide::SendSide(Connection& connection, WorkerThread& worker, ConnectionCounters& counters, Socket socket,
                   bool isConnected)
    : worker_(worker),
      counters_(counters),
      socket_(std::move(socket)),
      connection_(&connection),
      outputWatched_(!isConnected) {}

void SendSide::send(const char* data, unsigned long size) {
  const qk::MutexLock lock(mutex_);
  if (connection_ == nullptr || endsWhenSent_) return;
  long sent = output_.isEmpty() ? socket_.send(data, size) : 0;
  if (sent == Socket::wouldBlock) sent = 0;
  if (sent < 0) return connection_->requestEnd(dirFailed);
  const auto taken = static_cast<unsigned long>(sent);
  countSent(taken);
  if (taken == size) return;
  try {
    output_.add(data + taken, size - taken);
    // The worker reports that the socket takes more bytes only if it has refused some and is watched for output.
    if (taken > 0 || !outputWatched_) requestTurn();
  } catch (const std::bad_alloc&) {
    connection_->requestEnd(dirFailed);
  }
}

void SendSide::sendFile(Descriptor file, long offset, unsigned long size) {
  const qk::MutexLock lock(mutex_);
  if (connection_ == nullptr || endsWhenSent_) return;
  try {
    output_.addFile(std::move(file), offset, size);
    requestTurn();
  } catch (const std::bad_alloc&) {
    connection_->requestEnd(dirFailed);
  }
}

void SendSide::endWhenSent() {
  const qk::MutexLock lock(mutex_);
  endsWhenSent_ = true;
  if (connection_ != nullptr && output_.isEmpty()) connection_->requestEnd(dirLocal);
}

void SendSide::requestEnd(int direction) {
  const qk::MutexLock lock(mutex_);
  if (connection_ != nullptr) connection_->requestEnd(direction);
}

Result SendSide::watch() {
  const qk::MutexLock lock(mutex_);
  return outputWatched_ ? worker_.watch(socket_.number(), *connection_)
                        : worker_.watchInput(socket_.number(), *connection_);
}

long SendSide::receive(char* data, unsigned long size) {
  const qk::MutexLock lock(mutex_);
  return socket_.recv(data, size);
}

void SendSide::writeMore() {
  const qk::MutexLock lock(mutex_);
  if (output_.isEmpty()) return;
  switch (write()) {
    case OutputQueue::Outcome::failed:
      return connection_->requestEnd(dirFailed);
    case OutputQueue::Outcome::more:
      return requestTurn();
    case OutputQueue::Outcome::drained:
      if (endsWhenSent_) connection_->requestEnd(dirLocal);
      return;
    case OutputQueue::Outcome::blocked:
      return watchOutput();
  }
}

void SendSide::close() {
  worker_.unwatch(socket_.number());
  const qk::MutexLock lock(mutex_);
  write();
  output_ = OutputQueue();  // the channel may exist long after the connection
  socket_.close();
  connection_ = nullptr;
}

OutputQueue::Outcome SendSide::write() {
  unsigned long budget = sentPerTurn;
  const OutputQueue::Outcome outcome = output_.writeTo(socket_, budget);
  counters_.countSent(sentPerTurn - budget);
  return outcome;
}

void SendSide::watchOutput() {
  if (std::exchange(outputWatched_, true)) return;
  if (!worker_.watchOutput(socket_.number(), *connection_)) connection_->requestEnd(dirFailed);
}

void SendSide::requestTurn() { worker_.schedule(connection_->shared_from_this()); }

void SendSide::countSent(unsigned long bytes) {
  if (worker_.isCurrent())
    counters_.countSent(bytes);
  else
    counters_.countSentElsewhere(bytes);
}

}  // namespace tovik
