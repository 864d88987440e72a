#include "tovik/socket_dir.h"

namespace tovik {

const char* printSocketDir(int direction) {
  switch (direction) {
    case dirPeer:
      return "peer";
    case dirLocal:
      return "local";
    case dirFailed:
      return "failed";
    default:
      return nullptr;
  }
}

}  // namespace tovik
