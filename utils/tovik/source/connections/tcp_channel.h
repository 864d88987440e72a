#pragma once

#include "connections/send_side.h"
#include "tovik/channel.h"

namespace tovik {

class ConsumerRecord;

/// The channel of a TcpConduit. It is small, because it outlives the conduit for as long as its consumer may call it.
///
/// Ownership: owned by the conduit and, once it is up, by the consumer's record, which outlives it.
class TcpChannel final : public Channel {
 public:
  TcpChannel(Connection& connection, ConsumerRecord& record, unsigned long maxUnitBytes, WorkerThread& worker,
             ConnectionCounters& counters, Socket socket, bool isConnected);

  void send(const char* data, unsigned long size) override { sendSide_.send(data, size); }
  void sendFile(Descriptor file, long offset, unsigned long size) override;
  void bringDown() override;
  void bringDownWhenSent() override { sendSide_.endWhenSent(); }
  bool delivers() const override;
  unsigned long maxUnitBytes() const override { return maxUnitBytes_; }
  EndCause endCause() const override { return endCause_; }
  void release() override;

  SendSide& sendSide() { return sendSide_; }
  const SendSide& sendSide() const { return sendSide_; }
  /// Closes the socket. On the worker.
  void close(EndCause cause);

 private:
  const unsigned long maxUnitBytes_;
  ConsumerRecord& record_;
  const Connection* connection_;  // null once closed; this and the next are used by the worker only
  EndCause endCause_ = EndCause::other;
  SendSide sendSide_;
};

}  // namespace tovik
