#pragma once

#include <qk/mutex.h>

#include <functional>
#include <list>
#include <string>

#include "tovik/clock.h"
#include "tovik/dispatch_generator.h"
#include "tovik/result.h"
#include "tovik/visibility.h"

namespace tovik {

/// The process-wide store of dispatchers. It starts empty. It is never destroyed, nor are the workers in it: sessions
/// go on while the program exits, and may be ended by the destructors of statics.
///
/// Threads: any.
class TOVIK_API DispatchStore {
 public:
  /// The process's store, made when it is first used.
  static DispatchStore& inst();

  /// Makes a dispatcher and starts its workers. Dispatchers are numbered from 0 in order of adding; the numbers of
  /// later ones move down when one is removed. Fails on a name that is taken, on a count of 0, and when the system
  /// gives no threads. The workers go by the clock, so that a test can move time; it outlives them, which is longer
  /// than the dispatcher is in the store where a transport is then still served.
  Result add(const std::string& name, unsigned workerCount, Clock& clock = Clock::steady());

  /// Null when there is none. The pointer is good until the dispatcher is removed, and for a transport made from
  /// it for that transport's life. Where another thread may remove it meanwhile, see use.
  DispatchGenerator* fetch(const std::string& name);
  /// By its present number; otherwise the same.
  DispatchGenerator* fetch(unsigned long number);

  /// Calls f with what fetch gives, and keeps the dispatcher in the store until f has returned. f must not use the
  /// store; to make a transport is what it is for.
  void use(const std::string& name, const std::function<void(DispatchGenerator*)>& f);
  /// By its present number; otherwise the same.
  void use(unsigned long number, const std::function<void(DispatchGenerator*)>& f);

  /// Takes a dispatcher out of the store. Its workers end at once when no transport uses them, and have ended when
  /// this returns, unless one of them is the caller or waits for it to return; else they end with the last such
  /// transport. Fails on an unknown name.
  Result remove(const std::string& name);

  DispatchStore(const DispatchStore&) = delete;
  DispatchStore& operator=(const DispatchStore&) = delete;

 private:
  /// A list, since moving a dispatcher from one to the other must not need memory.
  using Dispatchers = std::list<DispatchGenerator>;

  DispatchStore() = default;
  ~DispatchStore() = default;
  Dispatchers::iterator find(const std::string& name) QK_REQUIRES(mutex_);
  DispatchGenerator* at(unsigned long number) QK_REQUIRES(mutex_);
  void destroyUnused();

  qk::Mutex mutex_;
  Dispatchers dispatchers_ QK_GUARDED_BY(mutex_);
  Dispatchers removed_ QK_GUARDED_BY(mutex_);  // still used by a transport when last looked at
};

}  // namespace tovik
