#pragma once

#include <vector>

#include "scenario.h"

namespace tovik::ftp {

/// Sessions with each kind of login, reply and transfer, worded as well-known servers word them.
const std::vector<Scenario>& corpus();

}  // namespace tovik::ftp
