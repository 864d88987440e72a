#pragma once

#include <cstddef>
#include <string_view>

namespace log_handlers {

/// The length of the well-formed UTF-8 sequence that the text begins with; 0 when it begins with none: with a byte that
/// can't begin one, a sequence cut short, a longer form than needed, half of a surrogate pair or a value above
/// U+10FFFF.
std::size_t utf8Length(std::string_view text);

}  // namespace log_handlers
