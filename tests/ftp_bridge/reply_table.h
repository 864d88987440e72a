#pragma once

#include <tovik/ftp_bridge/ftp_bridge.h>

#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace tovik::ftp {

/// What can be seen of an interpreter and of what it did: about to hear a reply, or having heard it.
struct Seen {
  int sessionState = 0;
  pending_e pending = pending_e::none;
  std::vector<std::string> sent;    // command lines, without their ends
  std::vector<std::string> told;    // callbacks of the client
  std::vector<std::string> logged;  // beside the commands and the reply itself
  int bringDowns = 0;

  friend bool operator==(const Seen&, const Seen&) = default;
};

inline void PrintTo(const Seen& seen, std::ostream* out) {
  const auto list = [&](const char* title, const std::vector<std::string>& texts) {
    *out << title;
    for (const auto& text : texts) *out << " \"" << text << '"';
  };
  *out << "session state " << seen.sessionState << ", pending " << static_cast<int>(seen.pending);
  list(", sent", seen.sent);
  list(", told", seen.told);
  list(", logged", seen.logged);
  *out << ", brought down " << seen.bringDowns;
}

/// What a reply does to what was there before it.
using Action = std::function<void(Seen&)>;

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

/// What hearing a code does, unlisted ones and those in the wrong phase included.
Action actionOn(int sessionState, pending_e pending, int code);

/// In the order of their numbers.
const std::vector<pending_e>& allPending();
const char* wordOf(pending_e pending);

}  // namespace tovik::ftp
