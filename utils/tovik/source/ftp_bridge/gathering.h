#pragma once

#include <string>

namespace tovik::ftp {

/// Appends bytes to the data of a transfer of unknown size. Throws std::bad_alloc, and leaves gathered unchanged, if
/// there is no memory even for exactly these bytes.
void gather(std::string& gathered, const char* data, unsigned long size);

}  // namespace tovik::ftp
