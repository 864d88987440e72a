#pragma once

#include <string>
#include <vector>

namespace tovik::ftp {

/// The names in the data of an NLST: one a line, lines ending at each line feed and at the end of the text, each
/// without the white space at its ends; lines with nothing else are passed over.
std::vector<std::string> splitListing(const std::string& text);

}  // namespace tovik::ftp
