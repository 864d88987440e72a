#pragma once

#include "figures.h"
#include "job.h"

namespace bench {

// Each function runs a job once and returns its figures; throws if anything unexpected happens. The time excludes
// logging in, except in the benchmarks of logins.

namespace own {
Figures files(const Job& job);
Figures swarm(const Job& job);
Figures logins(const Job& job);
Figures idle(const Job& job);
}  // namespace own

namespace peers {
/// A blocking client that knows only PASV (or PORT) and RETR.
Figures bareFiles(const Job& job);
/// The same client, optimised with everything known in advance: the file's size, huge pages, large reads.
Figures limitFiles(const Job& job);
/// The cost of the kernel alone: the data is discarded.
Figures discardFiles(const Job& job);
Figures curlFiles(const Job& job);
Figures curlSwarm(const Job& job);
Figures curlLogins(const Job& job);
}  // namespace peers

}  // namespace bench
