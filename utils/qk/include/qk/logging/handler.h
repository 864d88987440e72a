#pragma once

#include <cstdint>
#include <functional>

#include "qk/logging/record.h"

namespace qk::logging {

/// Takes each emitted record, on the thread that emits it and with no lock held. Several threads may be inside the same
/// handler at once.
///
/// A handler may log, add and remove handlers, itself included. A record that it causes while it runs passes it by and
/// goes to the others, so a handler that logs doesn't call itself for ever. If it throws, the other handlers still get
/// the record and standard error gets one line that says so.
///
/// A handler runs inside whatever code logs, so it must not destroy or end the object that is logging, nor wait for
/// another thread to do so: leave that to a later moment, outside the handler.
using Handler = std::function<void(const Record&)>;
/// Identifies a handler to RemoveHandler; never given twice.
using HandlerId = std::uint64_t;

}  // namespace qk::logging
