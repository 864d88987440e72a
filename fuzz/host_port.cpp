#include <tovik/ftp_bridge/ftp_bridge.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "fuzzer.h"

// Texts of a host and port. The first six bytes of the input are formatted as an address; the whole input is parsed as
// a text.

namespace {

using tovik::Address;
using tovik::ftp::ProtocolInterpreter;

std::vector<std::string> fieldsOf(const std::string& text) {
  std::vector<std::string> fields(1);
  for (const char character : text) {
    if (character != ',')
      fields.back() += character;
    else if (!fields.back().empty())
      fields.emplace_back();
  }
  if (fields.back().empty()) fields.pop_back();
  return fields;
}

unsigned expectedPort(const std::string& high, const std::string& low) {
  const unsigned long highByte = std::strtoul(high.c_str(), nullptr, 10) % 256;
  return static_cast<unsigned>((highByte * 256 + std::strtoul(low.c_str(), nullptr, 10) % 65536) % 65536);
}

std::string expectedText(const Address& address) {
  const sockaddr_in native = address.native();
  std::array<unsigned char, 4> host{};
  std::memcpy(host.data(), &native.sin_addr, host.size());
  std::string text;
  for (const unsigned number : host) text += std::to_string(number) + ',';
  return text + std::to_string(address.port() / 256) + ',' + std::to_string(address.port() % 256);
}

void checkFormatting(const Address& address) {
  std::string text = "previous text";
  fuzz::require(bool{ProtocolInterpreter::convertAddr(address, text)}, "every address can be formatted");
  fuzz::require(text == expectedText(address), "the text consists of the bytes of host and port, separated by commas");
  Address parsed(1);
  fuzz::require(bool{ProtocolInterpreter::convertAddr(text, parsed)}, "a formatted address can be parsed");
  fuzz::require(parsed == address, "formatting and parsing returns the same address");
}

void checkParsing(const std::string& text) {
  Address before(77);
  fuzz::require(bool{before.set_host("1.2.3.4")}, "1.2.3.4 is a host");
  Address address = before;
  const tovik::Result result = ProtocolInterpreter::convertAddr(text, address);
  const std::vector<std::string> fields = fieldsOf(text);
  if (fields.size() != 6) {
    fuzz::require(!result && result.message == "could not parse addr " + text,
                  "a text without exactly six fields is refused");
    fuzz::require(address == before, "a refused text changes nothing");
    return;
  }
  Address expected = before;
  const auto host = expected.set_host(fields[0] + '.' + fields[1] + '.' + fields[2] + '.' + fields[3]);
  fuzz::require(result.ok == host.ok && result.message == host.message,
                "six fields are an address if the first four are a host");
  if (host) expected.set_port(static_cast<unsigned short>(expectedPort(fields[4], fields[5])));
  fuzz::require(address == expected, "the address consists of the fields");
  if (result) checkFormatting(address);
}

Address addressFrom(fuzz::Input input) {
  sockaddr_in native{};
  native.sin_family = AF_INET;
  for (int i = 0; i < 4; ++i) native.sin_addr.s_addr = native.sin_addr.s_addr << 8U | input.byte();
  Address address(native);
  const unsigned high = input.byte();
  address.set_port(static_cast<unsigned short>(high << 8U | input.byte()));
  return address;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  checkFormatting(addressFrom(fuzz::Input(data, size)));
  checkParsing(fuzz::Input(data, size).rest());
  return 0;
}
