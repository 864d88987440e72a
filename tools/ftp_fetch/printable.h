#pragma once

#include <string>
#include <string_view>

namespace ftp_fetch {

/// The text with every control character, and every byte that isn't UTF-8, written as \x1b and the like: what a server
/// sends must not drive the terminal.
std::string printable(std::string_view text);

/// 512 B, 1.5 kB, 64.0 MB: three to four digits and a unit, of 1000 each.
std::string humanSize(double bytes);

}  // namespace ftp_fetch
