#include "ftp_bridge/listing.h"

#include <sstream>
#include <string>
#include <vector>

#include "fuzzer.h"

// Names in a listing. The input is the listing.

namespace {

constexpr const char* whiteSpace = " \t\n\r\v\f";

std::vector<std::string> expectedNames(const std::string& text) {
  std::vector<std::string> names;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    const auto begin = line.find_first_not_of(whiteSpace);
    if (begin != std::string::npos) names.push_back(line.substr(begin, line.find_last_not_of(whiteSpace) - begin + 1));
  }
  return names;
}

void checkName(const std::string& name) {
  fuzz::require(!name.empty(), "no name is empty");
  fuzz::require(name.find('\n') == std::string::npos, "no name has a line feed");
  fuzz::require(name.find_first_of(whiteSpace) != 0, "no name begins with white space");
  fuzz::require(name.find_last_of(whiteSpace) != name.size() - 1, "no name ends in white space");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = fuzz::Input(data, size).rest();
  const std::vector<std::string> names = tovik::ftp::splitListing(text);
  for (const auto& name : names) checkName(name);
  fuzz::require(names == expectedNames(text), "the names are the trimmed lines");
  return 0;
}
