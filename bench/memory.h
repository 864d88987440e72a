#pragma once

namespace bench {

/// This process's private memory that is resident, in bytes.
double residentBytes();
/// The most that was ever resident, shared pages included, in bytes.
double peakResidentBytes();
/// What the program has from the heap at present, in bytes.
double heapBytes();

}  // namespace bench
