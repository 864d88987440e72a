#pragma once

#include <atomic>
#include <list>
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
/// Threads:   any; addChannel and dropChannel on the worker.
/// Ownership: keeps the channels that the consumer was given until the consumer releases them or is destroyed.
class ConsumerRecord final : public EventHandler {
 public:
  using Conduits = std::list<TcpConduit*>;

  ConsumerRecord(std::weak_ptr<TransportCore> core, Consumer& consumer) : core_(std::move(core)), consumer_(consumer) {}

  Consumer& consumer() const { return consumer_; }

  /// False once the consumer is retired.
  [[nodiscard]] bool hold();
  /// What is left of the holders afterwards: others, none, or none of a retired consumer, which the caller destroys.
  enum class Remaining { others, none, noneAndRetired };
  [[nodiscard]] Remaining release();
  /// True when there is no holder: the caller destroys the consumer.
  [[nodiscard]] bool retire();
  bool isRetired() const { return (state_.load(std::memory_order_acquire) & retired) != 0; }

  /// Whether nothing has to be known of the consumer any more: it has no holder, and no channel that it may call.
  bool isIdle() const { return state_.load(std::memory_order_acquire) == 0 && channels_.empty(); }

  void addChannel(std::shared_ptr<Channel> channel) { channels_.push_back(std::move(channel)); }
  void dropChannel(const Channel& channel);
  /// Its connections in order of adding, for the transport, whose mutex guards them.
  Conduits& conduits() { return conduits_; }

  /// The turn that a retirement on another thread asks for: ends the consumer's connections.
  void onReady(unsigned events) override;

 private:
  static constexpr unsigned retired = 1;
  static constexpr unsigned holder = 2;

  const std::weak_ptr<TransportCore> core_;
  Consumer& consumer_;
  std::atomic<unsigned> state_{0};  // the retired bit, and the count of holders above it
  std::vector<std::shared_ptr<Channel>> channels_;
  Conduits conduits_;
};

}  // namespace tovik
