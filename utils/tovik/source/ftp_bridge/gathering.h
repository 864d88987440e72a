#pragma once

#include <string>

namespace tovik::ftp {

/// Appends to what a transfer of unknown size has delivered so far. Throws std::bad_alloc, and leaves gathered as it
/// was, when not even room for these bytes alone is to be had.
void gather(std::string& gathered, const char* data, unsigned long size);

}  // namespace tovik::ftp
