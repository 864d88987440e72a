#pragma once

#include <iosfwd>
#include <string>

#include "support/heap.h"
#include "support/leftovers.h"

namespace soak {

/// What the process holds at a moment of rest.
struct Figures {
  long residentKiB;
  testing_support::HeapUse heap;
  testing_support::Held held;

  static Figures now();
};

/// Whether the one is as good as the other: the same descriptors and threads, and no more memory than wavers.
bool sameHolding(const Figures& before, const Figures& after);

/// Writes one line, under those of printHeading.
void print(std::ostream& out, const std::string& when, const Figures& figures);
void printHeading(std::ostream& out);

}  // namespace soak
