#pragma once

#include <string>
#include <string_view>

namespace qk::logging {

/// Appends the text as a terminal may safely show it on one line: well-formed UTF-8 passes; control characters, those
/// above U+007F too, and all other bytes become \n, \r, \t or \xNN. A backslash stands as it is.
void appendEscaped(std::string& line, std::string_view text);

}  // namespace qk::logging
