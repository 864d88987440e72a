#pragma once

#include <tovik/dispatch_store.h>

#include <cstdlib>
#include <iostream>
#include <stdexcept>
#include <string>
#include <utility>

namespace testing_support {

/// A dispatcher that is in the store for as long as this exists. The clock must outlive it.
///
/// Errors: std::runtime_error when it can't be added; it ends the process when it can't be removed.
class ScopedDispatcher {
 public:
  explicit ScopedDispatcher(std::string name, unsigned workerCount = 1, tovik::Clock& clock = tovik::Clock::steady())
      : name_(std::move(name)) {
    const tovik::Result added = tovik::DispatchStore::inst().add(name_, workerCount, clock);
    if (!added) throw std::runtime_error(added.message);
  }
  ScopedDispatcher(const ScopedDispatcher&) = delete;
  ScopedDispatcher& operator=(const ScopedDispatcher&) = delete;
  ~ScopedDispatcher() {
    const tovik::Result removed = tovik::DispatchStore::inst().remove(name_);
    if (removed) return;
    std::cerr << removed.message << '\n';
    std::abort();
  }

  const std::string& name() const { return name_; }
  tovik::DispatchGenerator* get() const { return tovik::DispatchStore::inst().fetch(name_); }

 private:
  const std::string name_;
};

}  // namespace testing_support
