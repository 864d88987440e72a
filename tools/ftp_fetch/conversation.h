#pragma once

#include <qk/logging/logging.h>
#include <tovik/descriptor.h>

#include <chrono>
#include <mutex>
#include <optional>
#include <string>

#include "ftp_fetch/log_text.h"

namespace ftp_fetch {

using Time = std::chrono::steady_clock::time_point;

/// The state of the dialogue with the server: the session writes it, and the main thread reads it to decide whether to
/// keep waiting.
///
/// Threads: any.
class Conversation {
 public:
  enum class Stage { login, commands, logout };

  struct State {
    unsigned long number = 0;  // of commands started so far
    std::string command;       // in progress, as shown to the user
    Stage stage = Stage::login;
    Time since;                      // when the command was started
    std::string sent;                // the last command line sent
    std::optional<Reply> lastReply;  // of the session
    std::optional<Time> refusedAt;   // when the current command got a negative reply
    std::string lastWarning;         // of the session, from the log
    bool ended = false;              // the session is over
  };

  /// Throws tovik::Exception if no descriptor can be opened.
  Conversation();

  void beginLogin(const std::string& server);
  void begin(const std::string& command);
  void beginLogout();
  void end();
  void note(const qk::logging::Record& record);

  /// Assigns the log records of the calling thread to this conversation.
  void adoptThread() { ofThread_ = this; }
  /// The conversation of the calling thread; null if it has none.
  static Conversation* ofThread() { return ofThread_; }

  State state() const;

  /// Becomes readable when the main thread should check the state at once. drain resets it.
  int descriptor() const { return changed_.number(); }
  void drain();

 private:
  void beginLocked(Stage stage, const std::string& command);
  void noteReply(const Reply& reply);
  void wake();

  static inline thread_local Conversation* ofThread_ = nullptr;

  const tovik::Descriptor changed_;
  mutable std::mutex mutex_;  // guards state_
  State state_;
};

}  // namespace ftp_fetch
