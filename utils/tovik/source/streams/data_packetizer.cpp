#include "tovik/data_packetizer.h"

#include <cstring>

namespace tovik {

UnitEnd TelnetPacketizer::findEnd(const char* data, unsigned long size) {
  unsigned long from = 0;
  while (from < size) {
    const void* found = std::memchr(data + from, '\n', size - from);
    if (found == nullptr) break;
    const auto lineFeed = static_cast<unsigned long>(static_cast<const char*>(found) - data);
    if (lineFeed > 0 && data[lineFeed - 1] == '\r') return {true, lineFeed + 1};
    from = lineFeed + 1;
  }
  const bool endsInReturn = size > 0 && data[size - 1] == '\r';
  return {false, endsInReturn ? size - 1 : size};
}

}  // namespace tovik
