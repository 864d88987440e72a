#pragma once

#include <memory>

#include "qk/logging/handler.h"
#include "qk/logging/record.h"
#include "qk/logging/visibility.h"

namespace qk::logging {

class HandlerList;

/// Adds a handler for the records emitted from now on; it is called after the handlers added before it. Any thread may
/// call it. Throws std::invalid_argument if the handler is empty, and std::bad_alloc; in both cases nothing is added.
[[nodiscard]] QK_LOGGING_API HandlerId AddHandler(Handler handler);

/// Removes a handler. Returns false if there is no such handler (any more). Any thread may call it. A record that
/// another thread is emitting may still reach the handler after the return. The handler is kept until then and is
/// destroyed by the thread that releases it last, so it should own or share the objects that it uses. Throws
/// std::bad_alloc; in that case nothing is removed.
QK_LOGGING_API bool RemoveHandler(HandlerId id);

/// Keeps the set of handlers for one record, so that handlers added or removed meanwhile make no difference.
///
/// Threads: created and destroyed on one thread, in reverse order of creation.
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

/// Pins the current handlers for the next record that this thread emits. Later records use the handlers that are
/// installed when they are emitted. Holds no lock: handlers may be added and removed while the pin exists.
QK_LOGGING_API HandlerPin ForceLockHandlers() noexcept;

}  // namespace qk::logging
