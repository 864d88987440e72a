#pragma once

#include <optional>
#include <string>

#include "ftp_fetch/signals.h"

namespace ftp_fetch {

/// Reads a password from the controlling terminal, without echo. Null if there is no terminal, at the end of its input,
/// and when a signal ends the program.
std::optional<std::string> askPassword(const std::string& prompt, EndSignals& signals);

}  // namespace ftp_fetch
