#pragma once

#include <memory>

#include "qk/logging/handler.h"
#include "qk/logging/record.h"
#include "qk/logging/visibility.h"

namespace qk::logging {

class HandlerList;

/// Hands the records emitted from now on to the handler, after those added before it. Any thread.
/// Throws std::invalid_argument for an empty handler, std::bad_alloc; then nothing has been added.
[[nodiscard]] QK_LOGGING_API HandlerId AddHandler(Handler handler);

/// False: no such handler, or removed before. Any thread. A record that another thread is emitting at this moment may
/// still reach the handler after the return; the callable is kept until then, and goes on whichever thread lets go of
/// it last. So it should share what it uses, not borrow it from the one that removes it.
/// Throws std::bad_alloc; then nothing has been removed.
QK_LOGGING_API bool RemoveHandler(HandlerId id);

/// Holds the handlers of one record, so that all of them get it whatever is added or removed meanwhile.
///
/// Threads: built, used and destroyed on one thread, the innermost first.
class [[nodiscard]] QK_LOGGING_API HandlerPin {
 public:
  ~HandlerPin();
  HandlerPin(const HandlerPin&) = delete;
  HandlerPin& operator=(const HandlerPin&) = delete;

 private:
  friend HandlerPin ForceLockHandlers() noexcept;
  friend std::shared_ptr<const HandlerList> takeHandlers() noexcept;

  HandlerPin() noexcept;

  std::shared_ptr<const HandlerList> handlers_;
  HandlerPin* const outer_;
};

/// Pins the present handlers for the next record that this thread emits; further ones find their own. Holds no lock:
/// handlers may be added and removed while the pin stands.
QK_LOGGING_API HandlerPin ForceLockHandlers() noexcept;

}  // namespace qk::logging
