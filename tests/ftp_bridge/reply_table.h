#pragma once

#include <tovik/ftp_bridge/ftp_bridge.h>

#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace tovik::ftp {

/// The state of an interpreter, and what it did: before and after a reply.
struct Effects {
  int sessionState = 0;
  pending_e pending = pending_e::none;
  std::vector<std::string> sent;       // command lines, without their ends
  std::vector<std::string> callbacks;  // of the client
  std::vector<std::string> logged;     // beside the commands and the reply itself
  int bringDowns = 0;

  friend bool operator==(const Effects&, const Effects&) = default;
};

inline void PrintTo(const Effects& effects, std::ostream* out) {
  const auto list = [&](const char* title, const std::vector<std::string>& texts) {
    *out << title;
    for (const auto& text : texts) *out << " \"" << text << '"';
  };
  *out << "session state " << effects.sessionState << ", pending " << static_cast<int>(effects.pending);
  list(", sent", effects.sent);
  list(", callbacks", effects.callbacks);
  list(", logged", effects.logged);
  *out << ", brought down " << effects.bringDowns;
}

/// What a reply does to what was there before it.
using Action = std::function<void(Effects&)>;

/// Some codes that do the same while a command is pending.
struct ReplyRow {
  pending_e pending;
  std::vector<int> codes;
  Action action;
};

/// The replies that each pending command understands: the first four in the login, the rest after it. The controller
/// stands ready for each event: a listing or a retrieval of "file" is in progress, its data "x" has come, and the
/// reply's text is "text"; so the table says what becomes of the event at the client, or on the wire.
const std::vector<ReplyRow>& replyTable();

/// What a reply's code does, unlisted ones and those in the wrong phase included.
Action actionOn(int sessionState, pending_e pending, int code);

/// In the order of their numbers.
const std::vector<pending_e>& allPending();
const char* wordOf(pending_e pending);

}  // namespace tovik::ftp
