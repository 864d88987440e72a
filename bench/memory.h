#pragma once

namespace bench {

/// The resident private memory of this process, in bytes.
double residentBytes();
/// The peak resident memory, shared pages included, in bytes.
double peakResidentBytes();
/// The heap memory currently allocated, in bytes.
double heapBytes();

}  // namespace bench
