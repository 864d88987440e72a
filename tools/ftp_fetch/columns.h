#pragma once

#include <string>
#include <string_view>

namespace ftp_fetch {

// The width of texts on a terminal: most characters take one column, East Asian ones two, combining ones none. The
// texts are printable UTF-8.

std::size_t columnsOf(std::string_view text);

/// Returns the text if it fits, otherwise its head and tail with an ellipsis in between: names in a series often differ
/// only at the end.
std::string shortened(std::string_view text, std::size_t columns);

std::string paddedTo(std::size_t columns, std::string text);

}  // namespace ftp_fetch
