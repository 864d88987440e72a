#pragma once

#include "tovik/visibility.h"

namespace tovik {

/// Which side ended a connection: the direction code of Consumer::onChannelDown.
enum SocketDir : int { dirPeer = 0, dirLocal = 1, dirFailed = 2 };

/// "peer", "local" or "failed"; null for any other number.
TOVIK_API const char* printSocketDir(int direction);

}  // namespace tovik
