#pragma once

#include "figures.h"
#include "job.h"

namespace bench {

// Each does a job once and gives its figures; throws when anything goes otherwise than planned. Logging in is never
// part of the time, unless it is the work.

namespace own {
Figures files(const Job& job);
Figures swarm(const Job& job);
Figures logins(const Job& job);
Figures idle(const Job& job);
}  // namespace own

namespace peers {
/// A blocking client with nothing but PASV (or PORT) and RETR.
Figures bareFiles(const Job& job);
/// The same with all that is known beforehand put to use: the file's size, huge pages, large reads.
Figures limitFiles(const Job& job);
/// What the kernel takes: nothing is kept.
Figures discardFiles(const Job& job);
Figures curlFiles(const Job& job);
Figures curlSwarm(const Job& job);
Figures curlLogins(const Job& job);
}  // namespace peers

}  // namespace bench
