#pragma once

#include <string>

#include "tovik/visibility.h"

namespace tovik {

/// The text without the blanks, tabs, line feeds, carriage returns, vertical tabs and form feeds at its ends.
TOVIK_API std::string trim_whitespace(std::string text);

/// Cuts a text to what stands between the first opening character and the next closing one after it; nothing
/// escapes either. False when one is missing: without the opening one the text stays as it was, without the closing
/// one its head, the opening character included, is gone.
TOVIK_API bool findSubstring(std::string& text, char open, char close);

}  // namespace tovik
