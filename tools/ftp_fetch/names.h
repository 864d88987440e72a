#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <string>

namespace ftp_fetch {

/// The names of the files still to fetch. Each session takes one name after another. All sessions but the first wait
/// until the list is open: the first session opens it when it has logged in and, if no names were given, listed them.
///
/// Threads: any.
class Names {
 public:
  /// Sets the names.
  void give(std::deque<std::string> names);
  bool areKnown() const;

  void open();
  /// If the list is not open, it stays closed, and the waiting sessions are woken.
  void cancelOpening();
  /// Returns false if the list stays closed or is empty.
  bool waitUntilOpen();

  /// Takes the next name. Null if none is left.
  std::optional<std::string> take();

  /// Removes all names and returns how many there were. Null if drop was called before.
  std::optional<std::size_t> drop();

 private:
  enum class State { closed, open, cancelled };

  mutable std::mutex mutex_;  // guards the members below
  std::condition_variable changed_;
  State state_ = State::closed;
  bool known_ = false;
  bool dropped_ = false;
  std::deque<std::string> names_;
};

}  // namespace ftp_fetch
