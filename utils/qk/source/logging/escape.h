#pragma once

#include <string>
#include <string_view>

namespace qk::logging {

/// Appends the text in a form that a terminal can safely show on one line. Well-formed UTF-8 is kept. Control
/// characters, including U+0080 to U+009F, and all other bytes become \n, \r, \t or \xNN. A backslash is kept.
void appendEscaped(std::string& line, std::string_view text);

}  // namespace qk::logging
