#include "ftp_fetch/names.h"

#include <utility>

namespace ftp_fetch {

void Names::give(std::deque<std::string> names) {
  const std::lock_guard lock(mutex_);
  names_ = std::move(names);
  known_ = true;
}

bool Names::areKnown() const {
  const std::lock_guard lock(mutex_);
  return known_;
}

void Names::open() {
  const std::lock_guard lock(mutex_);
  state_ = State::open;
  changed_.notify_all();
}

void Names::cancelOpening() {
  const std::lock_guard lock(mutex_);
  if (state_ == State::closed) state_ = State::cancelled;
  changed_.notify_all();
}

bool Names::waitUntilOpen() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return state_ != State::closed; });
  return state_ == State::open && !names_.empty();
}

std::optional<std::string> Names::take() {
  const std::lock_guard lock(mutex_);
  if (names_.empty()) return std::nullopt;
  std::string name = std::move(names_.front());
  names_.pop_front();
  return name;
}

std::optional<std::size_t> Names::drop() {
  const std::lock_guard lock(mutex_);
  if (std::exchange(dropped_, true)) return std::nullopt;
  return std::exchange(names_, {}).size();
}

}  // namespace ftp_fetch
