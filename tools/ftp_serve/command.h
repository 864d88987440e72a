#pragma once

#include <string>
#include <string_view>

namespace ftp_serve {

/// One line of the control connection:  verb [ SP argument ] CR LF
struct Command {
  std::string verb;      // in upper case
  std::string argument;  // as it stands: a name may begin or end with a blank
};

Command parseCommand(std::string_view line);

/// Of ASCII letters; the rest stays as it is.
std::string upperCase(std::string_view text);

/// The argument of NLST without the options for a Unix "ls" that some clients put in front of the path.
std::string withoutOptions(std::string_view argument);

}  // namespace ftp_serve
