#pragma once

#include <atomic>

#include "tovik/connection_statistics.h"
#include "tovik/socket_dir.h"
#include "tovik/visibility.h"

namespace tovik {

/// Counts what ConnectionStatistics reports.
///
/// Threads:   read and countSentElsewhere by any thread; the rest on the worker. With a single writer, counting takes a
///            load and a store, never a locked operation.
/// Ownership: borrows the sum, which outlives it.
class TOVIK_API ConnectionCounters {
 public:
  /// Everything is also counted in the sum, which may be null.
  explicit ConnectionCounters(ConnectionCounters* sum = nullptr) : sum_(sum) {}

  /// A connection was started or accepted.
  void countStarted() { add(&ConnectionCounters::started_, 1); }
  /// A connection was established.
  void countUp() { add(&ConnectionCounters::up_, 1); }
  /// A connection has ended. direction: a SocketDir.
  void countEnd(int direction) {
    add(direction == dirPeer    ? &ConnectionCounters::endedByPeer_
        : direction == dirLocal ? &ConnectionCounters::endedHere_
                                : &ConnectionCounters::failed_,
        1);
  }
  /// Bytes were received.
  void countReceived(unsigned long bytes) { add(&ConnectionCounters::bytesIn_, bytes); }
  /// The worker has sent bytes.
  void countSent(unsigned long bytes) { add(&ConnectionCounters::bytesOut_, bytes); }
  /// Another thread has sent bytes.
  void countSentElsewhere(unsigned long bytes) {
    for (ConnectionCounters* each = this; each != nullptr; each = each->sum_)
      each->bytesOutElsewhere_.fetch_add(bytes, std::memory_order_relaxed);
  }

  /// Reads the ends first: see add.
  ConnectionStatistics read() const {
    ConnectionStatistics now;
    now.ended_by_peer = get(endedByPeer_);
    now.ended_here = get(endedHere_);
    now.failed = get(failed_);
    now.up = get(up_);
    now.started = get(started_);
    now.bytes_in = get(bytesIn_);
    now.bytes_out = get(bytesOut_) + get(bytesOutElsewhere_);
    return now;
  }

 private:
  using Counter = std::atomic<unsigned long long>;

  /// Release order, and acquire order for the reader: a reader that sees an end sees its start, too.
  void add(Counter ConnectionCounters::*which, unsigned long amount) {
    for (ConnectionCounters* each = this; each != nullptr; each = each->sum_) {
      Counter& counter = each->*which;
      counter.store(counter.load(std::memory_order_relaxed) + amount, std::memory_order_release);
    }
  }
  static unsigned long long get(const Counter& counter) { return counter.load(std::memory_order_acquire); }

  ConnectionCounters* const sum_;
  Counter started_{0};
  Counter up_{0};
  Counter endedByPeer_{0};
  Counter endedHere_{0};
  Counter failed_{0};
  Counter bytesIn_{0};
  Counter bytesOut_{0};
  Counter bytesOutElsewhere_{0};
};

}  // namespace tovik
