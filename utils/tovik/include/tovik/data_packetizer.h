#pragma once

#include "tovik/visibility.h"

namespace tovik {

/// Where a unit of a byte stream ends.
struct TOVIK_API UnitEnd {
  /// False if the bytes contain no whole unit yet.
  bool found = false;
  /// If found: the size of the unit, its end mark included. If not: how many leading bytes need not be searched again
  /// when more have arrived.
  unsigned long size = 0;
};

/// Finds the units (lines, records) in a byte stream.
class TOVIK_API DataPacketizer {
 public:
  virtual ~DataPacketizer() = default;
  /// Finds the end of the unit that starts at the first byte.
  virtual UnitEnd findEnd(const char* data, unsigned long size) = 0;
};

/// Finds Telnet lines (RFC 854, "The NVT printer"): only CR LF ends one; a lone CR, a lone LF and CR NUL are part of
/// it.
class TOVIK_API TelnetPacketizer : public DataPacketizer {
 public:
  UnitEnd findEnd(const char* data, unsigned long size) override;
};

}  // namespace tovik
