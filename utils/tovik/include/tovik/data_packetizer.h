#pragma once

#include "tovik/visibility.h"

namespace tovik {

/// Where a unit of a byte stream ends.
struct TOVIK_API UnitEnd {
  /// False: the bytes given hold no whole unit yet.
  bool found = false;
  /// When found: the size of the unit with its end mark. Else: how many leading bytes need not be shown again, so
  /// that an unfinished unit is not searched from its start for every byte that arrives.
  unsigned long size = 0;
};

/// Finds the units (lines, records) in a byte stream.
class TOVIK_API DataPacketizer {
 public:
  virtual ~DataPacketizer() = default;
  /// Looks for the end of the unit that begins at the first byte.
  virtual UnitEnd findEnd(const char* data, unsigned long size) = 0;
};

/// Finds Telnet lines (RFC 854, "The NVT printer"): only CR LF ends one; a lone CR, a lone LF and CR NUL are part of
/// it.
class TOVIK_API TelnetPacketizer : public DataPacketizer {
 public:
  UnitEnd findEnd(const char* data, unsigned long size) override;
};

}  // namespace tovik
