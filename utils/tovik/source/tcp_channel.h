#pragma once

#include <mutex>

#include "tovik/channel.h"

namespace tovik {

class TcpConduit;

/// The channel of a TcpConduit. It outlives the conduit, for as long as its consumer may call it, and is small.
class TcpChannel final : public Channel {
 public:
  TcpChannel(TcpConduit& conduit, unsigned long maxUnitBytes) : maxUnitBytes_(maxUnitBytes), conduit_(&conduit) {}

  void send(const char* data, unsigned long size) override;
  void sendFile(Descriptor file, long offset, unsigned long size) override;
  void bringDown() override;
  void bringDownWhenSent() override;
  bool delivers() const override;
  unsigned long maxUnitBytes() const override { return maxUnitBytes_; }

  /// Guards the conduit's socket and what waits to be sent on it. Taken around each receive too: what a thread did
  /// before a send is then seen by the handler of whatever arrives after it.
  std::mutex& mutex() { return mutex_; }
  /// The connection has ended. On the worker, with the mutex held.
  void detach() { conduit_ = nullptr; }

 private:
  const unsigned long maxUnitBytes_;
  std::mutex mutex_;
  TcpConduit* conduit_;  // null once down; changed on the worker, with the mutex held
};

}  // namespace tovik
