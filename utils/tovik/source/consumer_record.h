#pragma once

#include <atomic>
#include <memory>
#include <vector>

#include "tovik/event_handler.h"

namespace tovik {

class Channel;
class Consumer;
class TcpConduit;
class TransportCore;

/// What a transport knows of one consumer: who still holds it, and whether it has been given back.
///
/// Holders are the consumer's connections and its running events. A retired consumer gets no new holder, and goes
/// with its last one.
///
/// Threads:   any; addChannel on the worker.
/// Ownership: keeps the channels that the consumer was given for as long as the consumer lives.
class ConsumerRecord final : public EventHandler {
 public:
  ConsumerRecord(std::weak_ptr<TransportCore> core, Consumer& consumer) : core_(std::move(core)), consumer_(consumer) {}

  Consumer& consumer() const { return consumer_; }

  /// False once the consumer is retired.
  [[nodiscard]] bool hold();
  /// True when that was the last holder of a retired consumer: the caller destroys it.
  [[nodiscard]] bool letGo();
  /// True when there is no holder: the caller destroys the consumer.
  [[nodiscard]] bool retire();
  bool isRetired() const { return (state_.load(std::memory_order_acquire) & retired) != 0; }

  void addChannel(std::shared_ptr<Channel> channel) { channels_.push_back(std::move(channel)); }
  /// Its connections in order of adding, for the transport, whose mutex guards them.
  std::vector<TcpConduit*>& conduits() { return conduits_; }

  /// The turn that a retirement on another thread asks for: ends the consumer's connections.
  void onReady(unsigned events) override;

 private:
  static constexpr unsigned retired = 1;
  static constexpr unsigned holder = 2;

  const std::weak_ptr<TransportCore> core_;
  Consumer& consumer_;
  std::atomic<unsigned> state_{0};  // the retired bit, and the count of holders above it
  std::vector<std::shared_ptr<Channel>> channels_;
  std::vector<TcpConduit*> conduits_;
};

}  // namespace tovik
