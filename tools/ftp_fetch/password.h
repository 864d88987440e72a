#pragma once

#include <optional>
#include <string>

#include "ftp_fetch/signals.h"

namespace ftp_fetch {

/// Asks for a password on the controlling terminal, without showing it. Null where there is no terminal, at its end
/// of input, and when a signal ends the program.
std::optional<std::string> askPassword(const std::string& prompt, EndSignals& signals);

}  // namespace ftp_fetch
