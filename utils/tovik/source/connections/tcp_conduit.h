#pragma once

#include <atomic>
#include <list>
#include <memory>
#include <optional>
#include <string>

#include "connections/transport_core.h"
#include "streams/output_queue.h"
#include "tovik/buffer.h"
#include "tovik/channel.h"
#include "tovik/conduit.h"
#include "tovik/event_handler.h"
#include "tovik/socket.h"
#include "tovik/timer_queue.h"

namespace tovik {

class ConsumerRecord;
class DataAggregator;
class TcpChannel;

/// One TCP connection: moves its bytes and tells its consumer what happens to it, each event once and in order.
///
/// Threads:   requestEnd by any thread; send, sendFile and endWhenSent by any thread that holds the channel's mutex;
///            the rest on the worker.
/// Ownership: the transport's list owns it, and the worker for the rest of the turn in which it ends.
/// Callbacks: a consumer may do anything in an event; whatever is touched after one belongs to the conduit itself.
class TcpConduit final : public Conduit, public EventHandler, public std::enable_shared_from_this<TcpConduit> {
 public:
  TcpConduit(std::shared_ptr<TransportCore> core, std::shared_ptr<ConsumerRecord> record, Socket socket, bool connected,
             std::string name, unsigned long long number, int connectLimit_ms);
  ~TcpConduit() override;

  const std::string& name() const override { return name_; }
  Address localAddress() const override { return socket_.localAddress(); }
  Address remoteAddress() const override { return socket_.remoteAddress(); }

  /// Conduits of a transport are numbered in order of adding.
  unsigned long long number() const { return number_; }
  void setPlace(const TransportCore::Place& place) { place_ = place; }

  void onReady(unsigned events) override;
  void onTimer() override;

  bool delivers() const;
  void send(const char* data, unsigned long size);
  void sendFile(Descriptor file, long offset, unsigned long size);
  void endWhenSent();

  /// Ends the connection in a turn of its own; direction: a SocketDir. The first request counts.
  void requestEnd(int direction) noexcept;
  /// Ends the connection now. Everything that its consumer has not been told yet it is told before this returns, also
  /// when called from inside one of these very events.
  void end(int direction);

 private:
  enum class Stage { fresh, connecting, up, ended };

  void begin();
  void advance(unsigned events);
  void finishConnecting(unsigned events);
  void becomeUp();
  void makeAggregator();
  void receive();
  long receiveInto(Buffer& buffer);
  void handOn(Buffer buffer);
  void writeMore();
  OutputQueue::Outcome writeOutput();
  void countSent(unsigned long bytes);
  void watchOutput();
  void closeSocket();
  void armDeadline();
  void cancelDeadline();
  template <class Event>
  void tell(Event&& event);
  template <class Event>
  void tellEnd(Event&& event);

  const std::shared_ptr<TransportCore> core_;
  const std::shared_ptr<ConsumerRecord> record_;
  const std::string name_;
  const unsigned long long number_;
  const bool connected_;  // from the beginning
  const int connectLimit_ms_;
  TransportCore::Place place_;

  // The worker's alone.
  Stage stage_ = Stage::fresh;
  bool newTold_ = false;
  bool upTold_ = false;
  bool downTold_ = false;
  bool inactiveTold_ = false;
  bool deliveryStopped_ = false;  // brought down on the worker: no more data for the consumer
  bool consumerFailed_ = false;   // an exception left an event: the consumer is notified of the end alone
  EndCause cause_ = EndCause::other;
  bool peerEnded_ = false;       // the kernel has the end of the peer's data
  bool shortReadDrains_ = true;  // a receive of less than asked for has emptied the socket
  bool moreToRead_ = false;      // has given way to others with data left to receive
  bool anyReceived_ = false;
  TimerQueue::Time startedAt_;
  std::optional<TimerQueue::Id> limit_;
  std::shared_ptr<TcpChannel> channel_;
  std::unique_ptr<DataAggregator> aggregator_;

  // Guarded by the channel's mutex once there is a channel.
  Socket socket_;
  OutputQueue output_;
  bool endsWhenSent_ = false;
  bool outputWatched_;

  std::atomic<int> requestedEnd_;
};

}  // namespace tovik
