#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "tovik/dispatch_generator.h"
#include "tovik/result.h"
#include "tovik/visibility.h"

namespace tovik {

/// The process-wide store of dispatchers. It starts empty.
///
/// Threads: any.
class TOVIK_API DispatchStore {
 public:
  /// The one there is.
  static DispatchStore& inst();

  /// Makes a dispatcher and starts its workers. Dispatchers are numbered from 0 in order of adding; the numbers of
  /// later ones move down when one is removed. Fails on a name that is taken, on a count of 0, and when the system
  /// gives no threads.
  Result add(const std::string& name, unsigned workerCount);

  /// Null when there is none. The pointer is good until the dispatcher is removed, and for a transport made from
  /// it for that transport's life.
  DispatchGenerator* fetch(const std::string& name);
  /// By its present number; otherwise the same.
  DispatchGenerator* fetch(unsigned long number);

  /// Takes a dispatcher out of the store. Its workers end at once when no transport uses them, and have ended when
  /// this returns; else they end with the last such transport. Fails on an unknown name.
  Result remove(const std::string& name);

  ~DispatchStore();

 private:
  using Dispatchers = std::vector<std::unique_ptr<DispatchGenerator>>;

  DispatchStore() = default;
  Dispatchers::iterator find(const std::string& name);
  void destroyUnused();

  std::mutex mutex_;  // guards both
  Dispatchers dispatchers_;
  Dispatchers leaving_;  // removed, but still used by a transport when last looked at
};

}  // namespace tovik
