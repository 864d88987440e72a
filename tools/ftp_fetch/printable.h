#pragma once

#include <string>
#include <string_view>

namespace ftp_fetch {

/// The text with every control character, and every byte that isn't UTF-8, escaped as in \x1b: what a server sends must
/// not control the terminal.
std::string printable(std::string_view text);

/// A size such as 512 B, 1.5 kB or 64.0 MB, in units of 1000.
std::string humanSize(double bytes);

}  // namespace ftp_fetch
