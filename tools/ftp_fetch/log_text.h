#pragma once

#include <optional>
#include <string>

namespace ftp_fetch {

/// A server's reply: its code, and the text of its first line.
struct Reply {
  int code = 0;
  std::string text;

  /// Such as "530 Login incorrect".
  std::string print() const { return std::to_string(code) + " " + text; }
};

// The log is where a host sees the dialogue itself: the callbacks tell of outcomes only, and of a refused login
// nothing.

/// The reply that a record's text shows, or null.
std::optional<Reply> replyIn(const std::string& record);

/// The command line that a record's text shows, with a password or account in it masked, or null.
std::optional<std::string> commandIn(const std::string& record);

/// A record's text as people may see it: without passwords and accounts.
std::string masked(const std::string& record);

/// A record's text as it means something to people who don't know what the program is made of.
std::string withoutOrigin(const std::string& record);

}  // namespace ftp_fetch
