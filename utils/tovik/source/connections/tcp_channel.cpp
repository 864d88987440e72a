#include "connections/tcp_channel.h"

#include "connections/consumer_record.h"
#include "connections/tcp_conduit.h"
#include "tovik/socket_dir.h"

namespace tovik {

void TcpChannel::send(const char* data, unsigned long size) {
  const std::lock_guard lock(mutex_);
  if (conduit_ != nullptr) conduit_->send(data, size);
}

void TcpChannel::sendFile(Descriptor file, long offset, unsigned long size) {
  const std::lock_guard lock(mutex_);
  if (conduit_ != nullptr) conduit_->sendFile(std::move(file), offset, size);
}

void TcpChannel::bringDown() {
  const std::lock_guard lock(mutex_);
  if (conduit_ != nullptr) conduit_->requestEnd(dirLocal);
}

void TcpChannel::bringDownWhenSent() {
  const std::lock_guard lock(mutex_);
  if (conduit_ != nullptr) conduit_->endWhenSent();
}

void TcpChannel::release() { record_.dropChannel(*this); }

bool TcpChannel::delivers() const { return conduit_ != nullptr && conduit_->delivers(); }

}  // namespace tovik
