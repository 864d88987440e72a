#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>

#include "tovik/ftp_bridge/ftp_bridge.h"

namespace tovik::ftp {

namespace {

/// Empty fields are skipped: several commas in a row count as one, and commas at the ends are ignored.
std::vector<std::string> splitAtCommas(const std::string& text) {
  std::vector<std::string> fields;
  fields.reserve(6);
  auto begin = text.find_first_not_of(',');
  while (begin != std::string::npos) {
    const auto end = text.find(',', begin);
    fields.push_back(text.substr(begin, end - begin));
    begin = text.find_first_not_of(',', end);
  }
  return fields;
}

/// The numbers are not checked: only the low byte of the high part counts, and the low part is added unmasked.
unsigned short portOf(const std::string& high, const std::string& low) {
  const auto number = [](const std::string& field) { return std::strtoul(field.c_str(), nullptr, 10); };
  return static_cast<unsigned short>((number(high) << 8U) + number(low));
}

}  // namespace

Result ProtocolInterpreter::convertAddr(const Address& address, std::string& text) {
  in_addr host{};
  address.extract_addr(&host);
  std::array<char, 16> dotted{};
  if (Result written = Address::ntop(dotted.data(), dotted.size(), &host); !written) return written;
  std::string converted = dotted.data();
  std::replace(converted.begin(), converted.end(), '.', ',');
  const int low = address.port() & 255;
  const int high = (address.port() - low) / 256;
  std::array<char, 32> port{};
  std::snprintf(port.data(), port.size(), ",%d,%d", high, low);
  converted += port.data();
  text.swap(converted);
  return Success;
}

Result ProtocolInterpreter::convertAddr(const std::string& text, Address& address) {
  const std::vector<std::string> fields = splitAtCommas(text);
  if (fields.size() != 6) return failure("could not parse addr " + text);
  Result set = address.set_host(fields[0] + "." + fields[1] + "." + fields[2] + "." + fields[3]);
  if (!set) return set;
  address.set_port(portOf(fields[4], fields[5]));
  return Success;
}

}  // namespace tovik::ftp
