#include "tovik/dispatch_store.h"

#include <algorithm>

namespace tovik {

DispatchStore& DispatchStore::inst() {
  static DispatchStore store;
  return store;
}

DispatchStore::~DispatchStore() = default;

Result DispatchStore::add(const std::string& name, unsigned workerCount) {
  destroyUnused();
  auto dispatcher = std::make_unique<DispatchGenerator>(name);
  const std::lock_guard lock(mutex_);
  if (find(name) != dispatchers_.end()) return failure("there is a dispatcher " + name + " already");
  if (Result result = dispatcher->start(workerCount); !result) return result;
  dispatchers_.push_back(std::move(dispatcher));
  return Success;
}

DispatchGenerator* DispatchStore::fetch(const std::string& name) {
  const std::lock_guard lock(mutex_);
  const auto found = find(name);
  return found == dispatchers_.end() ? nullptr : found->get();
}

DispatchGenerator* DispatchStore::fetch(unsigned long number) {
  const std::lock_guard lock(mutex_);
  return number < dispatchers_.size() ? dispatchers_[number].get() : nullptr;
}

Result DispatchStore::remove(const std::string& name) {
  {
    const std::lock_guard lock(mutex_);
    const auto found = find(name);
    if (found == dispatchers_.end()) return failure("there is no dispatcher " + name);
    (*found)->retire();
    leaving_.push_back(std::move(*found));
    dispatchers_.erase(found);
  }
  destroyUnused();
  return Success;
}

DispatchStore::Dispatchers::iterator DispatchStore::find(const std::string& name) {
  return std::find_if(dispatchers_.begin(), dispatchers_.end(),
                      [&](const auto& dispatcher) { return dispatcher->name() == name; });
}

/// The destructors wait for worker threads, so they run without the lock: a handler may be using the store.
void DispatchStore::destroyUnused() {
  Dispatchers unused;
  const std::lock_guard lock(mutex_);
  const auto firstUnused = std::stable_partition(leaving_.begin(), leaving_.end(),
                                                 [](const auto& dispatcher) { return !dispatcher->mayGo(); });
  std::move(firstUnused, leaving_.end(), std::back_inserter(unused));
  leaving_.erase(firstUnused, leaving_.end());
}

}  // namespace tovik
