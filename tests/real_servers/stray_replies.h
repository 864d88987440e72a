#pragma once

#include <qk/logging/logging.h>

#include <memory>

#include "support/waiting.h"

namespace real_servers {

/// Counts the replies that came while no session awaited one. A command that the host's thread begins while such a
/// reply is on its way would race with it.
class StrayReplies {
 public:
  StrayReplies()
      : id_(qk::logging::AddHandler([count = count_](const qk::logging::Record& record) {
          if (record.text == "Tovik: protocol interpreter: bad pending command 0 while up")
            count->change([](long& number) { ++number; });
        })) {}
  StrayReplies(const StrayReplies&) = delete;
  StrayReplies& operator=(const StrayReplies&) = delete;
  ~StrayReplies() { qk::logging::RemoveHandler(id_); }

  /// Waits for the next one that has not been taken yet; false when it fails to come.
  [[nodiscard]] bool take() {
    ++taken_;
    return count_->waitUntil([&](long number) { return number >= taken_; });
  }

 private:
  // Shared: a record that another thread is emitting when the handler is removed still reaches it.
  const std::shared_ptr<testing_support::Awaited<long>> count_ = std::make_shared<testing_support::Awaited<long>>();
  long taken_ = 0;
  const qk::logging::HandlerId id_;
};

}  // namespace real_servers
