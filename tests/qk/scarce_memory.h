#pragma once

namespace qk::logging {

/// False: this build's sanitizer brings an operator new that cannot be replaced, so memory is never scarce.
bool memoryCanBeScarce();

/// Grants this thread so many allocations by operator new while it lives; the further ones throw std::bad_alloc.
class ScarceMemory {
 public:
  explicit ScarceMemory(int allocations);
  ~ScarceMemory();
  ScarceMemory(const ScarceMemory&) = delete;
  ScarceMemory& operator=(const ScarceMemory&) = delete;

  /// Whether none has been asked for in vain.
  bool sufficed() const;
};

}  // namespace qk::logging
