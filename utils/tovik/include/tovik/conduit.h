#pragma once

#include <string>

#include "tovik/address.h"
#include "tovik/visibility.h"

namespace tovik {

class Channel;

/// One connection of a transport, from the first attempt to its end. Owned by the transport; a consumer may use the
/// pointer that its events bring during that event, and from onNewConduit to onConduitInactive on the worker.
class TOVIK_API Conduit {
 public:
  virtual ~Conduit() = default;

  /// The name given to the Client or Server that it came from.
  virtual const std::string& name() const = 0;
  /// This end; 0.0.0.0:0 once the connection has ended.
  virtual Address localAddress() const = 0;
  /// The peer's end; 0.0.0.0:0 while there is none.
  virtual Address remoteAddress() const = 0;
};

}  // namespace tovik
