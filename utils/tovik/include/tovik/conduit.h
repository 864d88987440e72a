#pragma once

#include <string>

#include "tovik/address.h"
#include "tovik/visibility.h"

namespace tovik {

class Channel;

/// One connection of a transport, from the first attempt to its end. The transport owns it; a consumer may use the
/// pointer on the worker, from onNewConduit until onConduitInactive has returned.
class TOVIK_API Conduit {
 public:
  virtual ~Conduit() = default;

  /// The name of the Client or Server that made it.
  virtual const std::string& name() const = 0;
  /// The address of this end; 0.0.0.0:0 once the connection has ended.
  virtual Address localAddress() const = 0;
  /// The peer's address; 0.0.0.0:0 while there is no peer.
  virtual Address remoteAddress() const = 0;
};

}  // namespace tovik
