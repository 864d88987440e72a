#pragma once

#include <string>

#include "tovik/visibility.h"

namespace tovik {

/// The text without the blanks, tabs, line feeds, carriage returns, vertical tabs and form feeds at its ends.
TOVIK_API std::string trim_whitespace(std::string text);

/// Replaces a text by the part between the first opening character and the next closing one; there is no escape
/// character. False if one is missing: without an opening character the text is unchanged, without a closing one
/// everything up to and including the opening character has been removed.
TOVIK_API bool findSubstring(std::string& text, char open, char close);

}  // namespace tovik
