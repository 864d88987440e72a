#include "qk/logging/log_level.h"

namespace qk::logging {

constinit int g_minLogLevel = LogLevel::Warning;

void SetMinLogLevel(LogLevel level) { __atomic_store_n(&g_minLogLevel, level, __ATOMIC_RELAXED); }

}  // namespace qk::logging
