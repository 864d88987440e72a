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

/// The process-wide store of dispatchers. It starts empty. The store and the workers in it are not destroyed at exit:
/// sessions continue while the program exits, and static destructors may end them.
///
/// Threads: any.
class TOVIK_API DispatchStore {
 public:
  /// The only instance, made when it is first used.
  static DispatchStore& inst();

  /// Makes a dispatcher and starts its workers. Dispatchers are numbered from 0 in the order in which they are added;
  /// when one is removed, the numbers of later ones are reduced by one. Fails if the name exists already, the count is
  /// 0 or the system can't start a thread. The clock must outlive the workers, which serve the last transport even
  /// after the dispatcher has been removed.
  Result add(const std::string& name, unsigned workerCount, Clock& clock = Clock::steady());

  /// The dispatcher of that name, or null. The pointer is valid until the dispatcher is removed and the last transport
  /// made from it is destroyed. If another thread may remove it meanwhile, call use instead.
  DispatchGenerator* fetch(const std::string& name);
  /// The same by its current number.
  DispatchGenerator* fetch(unsigned long number);

  /// Calls f with the result of fetch, and keeps the dispatcher in the store until f has returned. f typically makes a
  /// transport. It must not use the store.
  void use(const std::string& name, const std::function<void(DispatchGenerator*)>& f);
  /// The same by its current number.
  void use(unsigned long number, const std::function<void(DispatchGenerator*)>& f);

  /// Removes a dispatcher from the store. If no transport uses it, its workers have ended when this returns, except if
  /// one of them is the caller or waits for the caller. Otherwise they end with the last transport. Fails if there is
  /// no dispatcher of that name.
  Result remove(const std::string& name);

  DispatchStore(const DispatchStore&) = delete;
  DispatchStore& operator=(const DispatchStore&) = delete;

 private:
  /// Lists, because moving a dispatcher from one to the other must not need memory.
  using Dispatchers = std::list<DispatchGenerator>;

  DispatchStore() = default;
  ~DispatchStore() = default;
  Dispatchers::iterator find(const std::string& name) QK_REQUIRES(mutex_);
  DispatchGenerator* at(unsigned long number) QK_REQUIRES(mutex_);
  void destroyUnused();

  qk::Mutex mutex_;
  Dispatchers dispatchers_ QK_GUARDED_BY(mutex_);
  Dispatchers removed_ QK_GUARDED_BY(mutex_);  // still in use when last checked
};

}  // namespace tovik
