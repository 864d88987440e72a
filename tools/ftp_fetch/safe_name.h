#pragma once

#include <string>
#include <string_view>

namespace ftp_fetch {

/// Returns why a name from the server or the user must not be used, or null if it may be. A name that is not a plain
/// file name could write outside the chosen directory; one with a line end would be two commands.
const char* whyUnsafe(std::string_view name);

/// True for "." and "..", which some servers list.
bool isSelfOrParent(std::string_view name);

}  // namespace ftp_fetch
