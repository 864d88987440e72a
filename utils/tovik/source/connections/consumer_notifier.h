#pragma once

#include <memory>

namespace tovik {

class Buffer;
class Channel;
class Connection;
class ConsumerRecord;
class DataAggregator;
class TransportCore;

/// Notifies a consumer of one connection's events: each once, in order, and none after the consumer is retired. After
/// an exception has left an event, only the end is reported.
///
/// Threads:   the transport's worker only.
/// Ownership: holds the consumer's record; borrows the connection and the transport's core, which outlive it.
/// Callbacks: a consumer may do anything in an event, including ending this connection.
class ConsumerNotifier {
 public:
  /// TransportCore::add holds the record for the connection; conduitInactive releases it.
  ConsumerNotifier(TransportCore& core, std::shared_ptr<ConsumerRecord> record, Connection& connection);
  ~ConsumerNotifier();
  ConsumerNotifier(const ConsumerNotifier&) = delete;
  ConsumerNotifier& operator=(const ConsumerNotifier&) = delete;

  /// Whether data may be delivered: the channel is up, and the consumer has neither failed nor been retired.
  bool takesData() const;
  /// Whether an exception has left an event.
  bool hasFailed() const { return failed_; }

  /// Keeps the channel for as long as the consumer may call it.
  void keep(std::shared_ptr<Channel> channel);

  void newConduit();
  void conduitActive();
  /// Returns null if the consumer provides none.
  std::unique_ptr<DataAggregator> dataAggregator(Channel& channel);
  void newChannel(Channel& channel);
  void channelUp(Channel& channel);
  void data(DataAggregator& aggregator, Buffer& buffer);
  /// Has no effect before channelUp.
  void channelDown(Channel& channel, int direction);
  /// Removes the connection from the transport, notifies the consumer, then releases it.
  void conduitInactive();

 private:
  template <class Event>
  void notify(Event&& event);
  template <class Event>
  void notifyOfEnd(Event&& event);

  TransportCore& core_;
  const std::shared_ptr<ConsumerRecord> record_;
  Connection& connection_;
  bool newNotified_ = false;
  bool upNotified_ = false;
  bool downNotified_ = false;
  bool inactiveNotified_ = false;
  bool failed_ = false;
};

}  // namespace tovik
