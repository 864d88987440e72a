#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <string>

namespace ftp_fetch {

/// The files still to fetch. Sessions take from it one after the other; all but the first wait until it is open, which
/// is when that one has shown that the server can be worked with, and has listed the names where none were given.
///
/// Threads: any.
class Names {
 public:
  /// Empty: the names have to be listed.
  void give(std::deque<std::string> names);
  bool areKnown() const;

  void open();
  /// Nobody will open it who hasn't.
  void giveUpOpening();
  /// False: it stays closed, or there is nothing left.
  bool waitUntilOpen();

  /// Null: there are none left.
  std::optional<std::string> take();

  /// Leaves no names to take: how many there were. Null: that was done before.
  std::optional<std::size_t> drop();

 private:
  enum class State { closed, open, staysClosed };

  mutable std::mutex mutex_;  // guards the members below
  std::condition_variable changed_;
  State state_ = State::closed;
  bool known_ = false;
  bool dropped_ = false;
  std::deque<std::string> names_;
};

}  // namespace ftp_fetch
