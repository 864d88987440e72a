#pragma once

#include <string>
#include <string_view>

namespace ftp_fetch {

// Texts as a terminal shows them: most characters take one column, those of East Asian scripts two, combining ones
// none. The texts are printable UTF-8.

std::size_t columnsOf(std::string_view text);

/// The text, or as much of its head and tail as fits with an ellipsis in between: what tells a row of names apart often
/// stands at their end.
std::string shortened(std::string_view text, std::size_t columns);

std::string paddedTo(std::size_t columns, std::string text);

}  // namespace ftp_fetch
