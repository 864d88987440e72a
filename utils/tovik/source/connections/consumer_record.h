#pragma once

#include <atomic>
#include <memory>
#include <utility>
#include <vector>

#include "connections/connection.h"

namespace tovik {

class Channel;
class Consumer;

/// A transport's record of one consumer: its holders, and whether it is retired.
///
/// The holders are the consumer's connections and its running events. A retired consumer gets no new holder, and is
/// destroyed when its last one releases it.
///
/// Threads:   hold, release, retire and isRetired by any thread; the channels on the worker; the connections and
///            nextRetired are guarded by the transport's mutex.
/// Ownership: keeps the channels that the consumer was given until the consumer releases them or is destroyed.
class ConsumerRecord {
 public:
  explicit ConsumerRecord(Consumer& consumer) : consumer_(consumer) {}

  Consumer& consumer() const { return consumer_; }

  /// False once the consumer is retired.
  [[nodiscard]] bool hold();
  /// What remains after a release: other holders, or none. noneAndRetired: no holder remains and the consumer is
  /// retired, so the caller must destroy it.
  enum class Remaining { others, none, noneAndRetired };
  [[nodiscard]] Remaining release();
  /// True if there is no holder: the caller destroys the consumer.
  [[nodiscard]] bool retire();
  bool isRetired() const { return (state_.load(std::memory_order_acquire) & retired) != 0; }

  /// Whether the record may be forgotten: no holder, and no channel that the consumer may still call.
  bool isIdle() const { return state_.load(std::memory_order_acquire) == 0 && channels_.empty(); }

  void addChannel(std::shared_ptr<Channel> channel) { channels_.push_back(std::move(channel)); }
  void dropChannel(const Channel& channel);

  ConnectionList<&Connection::ofConsumer> connections;
  std::shared_ptr<ConsumerRecord> nextRetired;  // in the transport's chain of consumers retired by other threads

 private:
  static constexpr unsigned retired = 1;
  static constexpr unsigned holder = 2;

  Consumer& consumer_;
  std::atomic<unsigned> state_{0};  // the retired bit, and the count of holders above it
  std::vector<std::shared_ptr<Channel>> channels_;
};

}  // namespace tovik
