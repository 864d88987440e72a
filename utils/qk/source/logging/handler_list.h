#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "qk/logging/handler.h"

namespace qk::logging {

/// The handlers at one point in time, in the order in which they were added. Immutable, so threads share it without a
/// lock.
class HandlerList {
 public:
  HandlerList() = default;

  std::shared_ptr<const HandlerList> with(HandlerId id, Handler handler) const;
  /// Returns null if there is no such handler.
  std::shared_ptr<const HandlerList> without(HandlerId id) const;

  /// Calls each handler that is not already running on this thread. Returns false if it called none.
  bool deliver(const Record& record) const noexcept;

 private:
  struct Entry {
    HandlerId id;
    Handler handler;
  };
  using Entries = std::vector<std::shared_ptr<const Entry>>;
  class Running;

  explicit HandlerList(Entries entries) : entries_(std::move(entries)) {}
  static void call(const Entry& entry, const Record& record) noexcept;

  Entries entries_;
};

/// Returns the handlers for the record that this thread is about to emit: the pinned ones, or else the current ones.
std::shared_ptr<const HandlerList> takeHandlers() noexcept;

}  // namespace qk::logging
