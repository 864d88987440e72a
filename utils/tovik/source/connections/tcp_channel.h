#pragma once

#include <mutex>

#include "tovik/channel.h"

namespace tovik {

class ConsumerRecord;
class TcpConduit;

/// The channel of a TcpConduit. It outlives the conduit, for as long as its consumer may call it, and is small.
///
/// Ownership: the conduit's and the record's of the consumer, which outlives it.
class TcpChannel final : public Channel {
 public:
  TcpChannel(TcpConduit& conduit, ConsumerRecord& record, unsigned long maxUnitBytes)
      : maxUnitBytes_(maxUnitBytes), record_(record), conduit_(&conduit) {}

  void send(const char* data, unsigned long size) override;
  void sendFile(Descriptor file, long offset, unsigned long size) override;
  void bringDown() override;
  void bringDownWhenSent() override;
  bool delivers() const override;
  unsigned long maxUnitBytes() const override { return maxUnitBytes_; }
  EndCause endCause() const override { return endCause_; }
  void release() override;

  /// Guards the conduit's socket and what waits to be sent on it. Taken around each receive too: what a thread did
  /// before a send is then seen by the handler of whatever arrives after it.
  std::mutex& mutex() { return mutex_; }
  /// The connection has ended. On the worker, with the mutex held.
  void detach(EndCause cause) {
    conduit_ = nullptr;
    endCause_ = cause;
  }

 private:
  const unsigned long maxUnitBytes_;
  ConsumerRecord& record_;
  EndCause endCause_ = EndCause::other;  // the worker's alone
  std::mutex mutex_;
  TcpConduit* conduit_;  // null once down; changed on the worker, with the mutex held
};

}  // namespace tovik
