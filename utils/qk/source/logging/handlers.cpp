#include "qk/logging/handlers.h"

#include <array>
#include <cstddef>
#include <new>
#include <stdexcept>
#include <utility>

#include "logging/handler_list.h"
#include "qk/mutex.h"

namespace qk::logging {

namespace {

/// The handlers of the process.
class Registry {
 public:
  /// Never destroyed, so that destructors of static objects can log.
  static Registry& instance() noexcept {
    alignas(Registry) static std::array<std::byte, sizeof(Registry)> storage;
    static Registry& registry = *new (storage.data()) Registry;
    return registry;
  }

  std::shared_ptr<const HandlerList> handlers() noexcept {
    const MutexLock lock(mutex_);
    return handlers_;
  }

  HandlerId add(Handler handler) {
    // Declared before the lock, and so destroyed after it: the old list may own a callable whose destructor logs.
    std::shared_ptr<const HandlerList> list;
    const MutexLock lock(mutex_);
    list = handlers_->with(lastId_ + 1, std::move(handler));
    handlers_.swap(list);
    return ++lastId_;
  }

  bool remove(HandlerId id) {
    std::shared_ptr<const HandlerList> list;
    const MutexLock lock(mutex_);
    list = handlers_->without(id);
    if (list == nullptr) return false;
    handlers_.swap(list);
    return true;
  }

 private:
  const HandlerList none_{};

  Mutex mutex_;
  // Initially points to none_ without owning it, so that nothing is allocated.
  std::shared_ptr<const HandlerList> handlers_ QK_GUARDED_BY(mutex_){std::shared_ptr<const HandlerList>(), &none_};
  HandlerId lastId_ QK_GUARDED_BY(mutex_) = 0;
};

constinit thread_local HandlerPin* innermostPin = nullptr;

}  // namespace

HandlerId AddHandler(Handler handler) {
  if (!handler) throw std::invalid_argument("qk::logging::AddHandler: empty handler");
  return Registry::instance().add(std::move(handler));
}

bool RemoveHandler(HandlerId id) { return Registry::instance().remove(id); }

HandlerPin::HandlerPin() noexcept : handlers_(Registry::instance().handlers()), outer_(innermostPin) {
  innermostPin = this;
}

HandlerPin::~HandlerPin() { innermostPin = outer_; }

HandlerPin ForceLockHandlers() noexcept { return {}; }

std::shared_ptr<const HandlerList> takeHandlers() noexcept {
  // A pin is for one record. A record that a handler emits meanwhile uses the handlers installed at that time.
  if (innermostPin != nullptr && innermostPin->handlers_ != nullptr)
    return std::exchange(innermostPin->handlers_, nullptr);
  return Registry::instance().handlers();
}

}  // namespace qk::logging
