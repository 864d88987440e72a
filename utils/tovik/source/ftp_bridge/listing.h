#pragma once

#include <string>
#include <vector>

namespace tovik::ftp {

/// Returns the names in the data of an NLST, one per line. A line ends at a line feed or at the end of the text. White
/// space around each name is removed; empty lines are skipped.
std::vector<std::string> splitListing(const std::string& text);

}  // namespace tovik::ftp
