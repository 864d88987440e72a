#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string>

#include "connections/connection.h"
#include "connections/consumer_notifier.h"
#include "connections/tcp_channel.h"
#include "tovik/buffer.h"
#include "tovik/result.h"
#include "tovik/socket.h"
#include "tovik/timer_queue.h"

namespace tovik {

class ConsumerRecord;
class DataAggregator;
class TransportCore;

/// One TCP connection from its first turn to its end: connects, receives, and enforces the time limits.
///
/// Threads:   requestEnd by any thread; the rest on the worker.
/// Callbacks: a consumer may do anything in an event, so the conduit uses only its own members after one.
class TcpConduit final : public Connection {
 public:
  /// Adds a socket that is connecting, or connected already, to the transport as a connection of the consumer.
  /// connectLimit_ms: as in Client.
  static Result add(const std::shared_ptr<TransportCore>& core, const std::shared_ptr<ConsumerRecord>& record,
                    Socket socket, bool isConnected, const std::string& name, int connectLimit_ms);

  /// For add.
  TcpConduit(std::shared_ptr<TransportCore> core, const std::shared_ptr<ConsumerRecord>& record, Socket socket,
             bool isConnected, std::string name, int connectLimit_ms);
  ~TcpConduit() override;

  const std::string& name() const override { return name_; }
  Address localAddress() const override { return channel_->sendSide().socket().localAddress(); }
  Address remoteAddress() const override { return channel_->sendSide().socket().remoteAddress(); }

  void onReady(unsigned events) override;
  void onTimer() override;

  bool delivers() const override;
  void requestEnd(int direction) noexcept override;
  void end(int direction) override;

 private:
  enum class Stage { fresh, connecting, up, ended };

  void start();
  void advance(unsigned events);
  void finishConnecting(unsigned events);
  void becomeUp();
  void receive();
  void handOn(Buffer buffer);
  void close(int direction);
  void armDeadline();
  void cancelDeadline();
  int requestedEnd() const { return requestedEnd_.load(std::memory_order_acquire); }

  const std::shared_ptr<TransportCore> core_;
  const std::string name_;
  const bool isConnected_;  // when it was added
  const int connectLimit_ms_;
  const std::shared_ptr<TcpChannel> channel_;

  // Used by the worker only.
  ConsumerNotifier consumer_;
  std::unique_ptr<DataAggregator> aggregator_;
  Stage stage_ = Stage::fresh;
  bool deliveryStopped_ = false;  // brought down on the worker: no more data for the consumer
  bool peerEnded_ = false;        // the peer has closed its side; data may be left
  bool shortReadDrains_ = true;   // a receive of less than the buffer's size has emptied the socket
  bool moreToRead_ = false;       // yielded to other connections while data was left to receive
  bool anyReceived_ = false;
  bool timedOut_ = false;
  const TimerQueue::Time startedAt_;
  std::optional<TimerQueue::Id> deadline_;

  std::atomic<int> requestedEnd_;
};

}  // namespace tovik
