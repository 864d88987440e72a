#pragma once

namespace tovik {

/// Which kind of socket a connection uses.
enum class Protocol : int { tcp = 0 };

}  // namespace tovik
