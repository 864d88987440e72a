#pragma once

#include <string>
#include <string_view>

namespace ftp_fetch {

/// Why a name, the server's or the user's, must not be used; null when it may. A name that is more than one plain file
/// name could write outside the directory chosen, and one with a line end would be two commands on the wire.
const char* whyUnsafe(std::string_view name);

/// "." and "..", which some servers list.
bool isSelfOrParent(std::string_view name);

}  // namespace ftp_fetch
