#pragma once

#include <string>
#include <string_view>

namespace ftp_serve {

/// One line of the control connection:  verb [ SP argument ] CR LF
struct Command {
  std::string verb;      // in upper case
  std::string argument;  // unchanged: a name may begin or end with a blank
};

Command parseCommand(std::string_view line);

/// Converts ASCII letters only.
std::string upperCase(std::string_view text);

/// The argument of NLST without leading options such as "-l", which some clients send as if to "ls".
std::string withoutOptions(std::string_view argument);

}  // namespace ftp_serve
