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

/// What is being said between this host and the server at present: the session writes it, the main thread judges by it
/// whether to wait on.
///
/// Threads: any.
class Conversation {
 public:
  enum class Stage { login, commands, logout };

  struct State {
    unsigned long number = 0;  // of commands begun so far
    std::string command;       // what the host is waiting for, in its own words
    Stage stage = Stage::login;
    Time since;                      // when the command began
    std::string sent;                // the last command on the wire
    std::optional<Reply> lastReply;  // of the session
    std::optional<Time> refusedAt;   // when the present command got a negative reply
    std::string lastWarning;         // of the session, from the log
    bool ended = false;              // the session is over
  };

  /// Fails to be made, by tovik::Exception, when the system gives no descriptor.
  Conversation();

  void beginLogin(const std::string& server);
  void begin(const std::string& command);
  void beginLogout();
  void end();
  void note(const qk::logging::Record& record);

  /// Makes this the conversation that whatever the calling thread logs is of.
  void adoptThread() { ofThread_ = this; }
  /// Null: nobody's.
  static Conversation* ofThread() { return ofThread_; }

  State state() const;

  /// Readable when the main thread should look at the state before it is due to, until `drain`.
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
