#include "tovik/dispatch_store.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <new>

namespace tovik {

/// Never destroyed, because workers use it while the program exits.
DispatchStore& DispatchStore::inst() {
  alignas(DispatchStore) static std::array<std::byte, sizeof(DispatchStore)> storage;
  static DispatchStore& store = *new (storage.data()) DispatchStore;
  return store;
}

/// Starts the workers without the lock, since that can take a while. Another thread may add the same name meanwhile.
Result DispatchStore::add(const std::string& name, unsigned workerCount, Clock& clock) {
  destroyUnused();
  const auto taken = [&name] { return failure("dispatcher " + name + " already exists"); };
  if (fetch(name) != nullptr) return taken();
  Dispatchers added;  // destroyed without the lock, because that waits for the workers
  added.emplace_back(name);
  if (Result result = added.back().start(workerCount, clock); !result) return result;
  const qk::MutexLock lock(mutex_);
  if (find(name) != dispatchers_.end()) return taken();
  dispatchers_.splice(dispatchers_.end(), added);
  return Success;
}

DispatchGenerator* DispatchStore::fetch(const std::string& name) {
  const qk::MutexLock lock(mutex_);
  const auto found = find(name);
  return found == dispatchers_.end() ? nullptr : &*found;
}

DispatchGenerator* DispatchStore::fetch(unsigned long number) {
  const qk::MutexLock lock(mutex_);
  return at(number);
}

void DispatchStore::use(const std::string& name, const std::function<void(DispatchGenerator*)>& f) {
  const qk::MutexLock lock(mutex_);
  const auto found = find(name);
  f(found == dispatchers_.end() ? nullptr : &*found);
}

void DispatchStore::use(unsigned long number, const std::function<void(DispatchGenerator*)>& f) {
  const qk::MutexLock lock(mutex_);
  f(at(number));
}

Result DispatchStore::remove(const std::string& name) {
  {
    const qk::MutexLock lock(mutex_);
    const auto found = find(name);
    if (found == dispatchers_.end()) return failure("no dispatcher " + name);
    found->retire();
    removed_.splice(removed_.end(), dispatchers_, found);
  }
  destroyUnused();
  return Success;
}

DispatchStore::Dispatchers::iterator DispatchStore::find(const std::string& name) {
  return std::find_if(dispatchers_.begin(), dispatchers_.end(),
                      [&](const auto& dispatcher) { return dispatcher.name() == name; });
}

DispatchGenerator* DispatchStore::at(unsigned long number) {
  return number < dispatchers_.size() ? &*std::next(dispatchers_.begin(), static_cast<long>(number)) : nullptr;
}

/// Waits for worker threads without the lock, because a handler may be using the store.
void DispatchStore::destroyUnused() {
  Dispatchers unused;
  {
    const qk::MutexLock lock(mutex_);
    for (auto next = removed_.begin(); next != removed_.end();) {
      const auto dispatcher = next++;
      if (!dispatcher->isUsed()) unused.splice(unused.end(), removed_, dispatcher);
    }
  }
  unused.remove_if([](DispatchGenerator& dispatcher) { return dispatcher.join(); });
  // A dispatcher whose worker waits for this thread is destroyed when the store next changes.
  const qk::MutexLock lock(mutex_);
  removed_.splice(removed_.end(), unused);
}

}  // namespace tovik
