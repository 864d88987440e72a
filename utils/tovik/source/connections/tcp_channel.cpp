#include "connections/tcp_channel.h"

#include <utility>

#include "connections/connection.h"
#include "connections/consumer_record.h"
#include "tovik/socket_dir.h"

namespace tovik {

TcpChannel::TcpChannel(Connection& connection, ConsumerRecord& record, unsigned long maxUnitBytes, WorkerThread& worker,
                       ConnectionCounters& counters, Socket socket, bool isConnected)
    : maxUnitBytes_(maxUnitBytes),
      record_(record),
      connection_(&connection),
      sendSide_(connection, worker, counters, std::move(socket), isConnected) {}

void TcpChannel::sendFile(Descriptor file, long offset, unsigned long size) {
  sendSide_.sendFile(std::move(file), offset, size);
}

void TcpChannel::bringDown() { sendSide_.requestEnd(dirLocal); }

bool TcpChannel::delivers() const { return connection_ != nullptr && connection_->delivers(); }

void TcpChannel::release() { record_.dropChannel(*this); }

void TcpChannel::close(EndCause cause) {
  sendSide_.close();
  connection_ = nullptr;
  endCause_ = cause;
}

}  // namespace tovik
