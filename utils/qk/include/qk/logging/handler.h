#pragma once

#include <cstdint>
#include <functional>

#include "qk/logging/record.h"

namespace qk::logging {

/// Receives each emitted record.
///
/// Threads:   called on the thread that emits the record, with no lock held. Several threads may run the same handler
///            at the same time.
/// Callbacks: a handler may log, and may add and remove handlers, including itself. A record that is emitted while a
///            handler runs on the same thread is passed to the other handlers only, so a handler that logs does not
///            call itself forever. A handler must not destroy or stop the object that is logging, nor wait for another
///            thread that does.
/// Errors:    if a handler throws, the other handlers still receive the record, and one line on standard error says so.
using Handler = std::function<void(const Record&)>;
/// Identifies a handler for RemoveHandler. Never reused.
using HandlerId = std::uint64_t;

}  // namespace qk::logging
