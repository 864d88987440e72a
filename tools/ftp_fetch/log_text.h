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

// The dialogue with the server is read from the log: callbacks report only outcomes, and don't report a refused login.

/// The reply in the text of a record, or null.
std::optional<Reply> replyIn(const std::string& record);

/// The command line in the text of a record, with a password or account masked, or null.
std::optional<std::string> commandIn(const std::string& record);

/// The text of a record with passwords and accounts masked.
std::string masked(const std::string& record);

/// The text of a record without the name of the component that logged it.
std::string withoutOrigin(const std::string& record);

}  // namespace ftp_fetch
