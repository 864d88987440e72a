#pragma once

#include <cstddef>
#include <string_view>

namespace log_handlers {

/// The length of the well-formed UTF-8 sequence at the start of the text, or 0 if there is none. Truncated sequences,
/// overlong forms, surrogates and values above U+10FFFF are not well-formed.
std::size_t utf8Length(std::string_view text);

}  // namespace log_handlers
