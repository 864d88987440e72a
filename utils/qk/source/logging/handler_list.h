#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "qk/logging/handler.h"

namespace qk::logging {

/// The handlers at one moment, in the order in which they were added. Never changes, so threads share it without a
/// lock.
class HandlerList {
 public:
  HandlerList() = default;

  std::shared_ptr<const HandlerList> with(HandlerId id, Handler handler) const;
  /// Null: no such handler.
  std::shared_ptr<const HandlerList> without(HandlerId id) const;

  /// Calls each handler that isn't running on this thread already. False: no handler was called.
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

/// The handlers for the record that this thread is about to emit: those pinned for it, else the present ones.
std::shared_ptr<const HandlerList> takeHandlers() noexcept;

}  // namespace qk::logging
