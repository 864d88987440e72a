#include "listing.h"

#include "tovik/text.h"

namespace tovik::ftp {

std::vector<std::string> splitListing(const std::string& text) {
  std::vector<std::string> names;
  std::string::size_type begin = 0;
  while (begin < text.size()) {
    const auto end = text.find('\n', begin);
    std::string name = trim_whitespace(text.substr(begin, end - begin));
    if (!name.empty()) names.push_back(std::move(name));
    if (end == std::string::npos) break;
    begin = end + 1;
  }
  return names;
}

}  // namespace tovik::ftp
