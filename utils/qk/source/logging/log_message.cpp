#include <exception>

#include "logging/handler_list.h"
#include "logging/standard_error.h"
#include "qk/logging/logger.h"

namespace qk::logging {

void LogMessage(LogLevel level, unsigned int subCode, DecodeType decodeType,
                const std::shared_ptr<const Source>& source, const char* file, int line, const std::string& text,
                const std::string& extra) noexcept {
  const auto handlers = takeHandlers();
  try {
    const Record record{.level = level,
                        .subCode = subCode,
                        .decodeType = decodeType,
                        .source = source,
                        .file = file == nullptr ? "" : file,
                        .line = line,
                        .text = text,
                        .extra = extra,
                        .time = std::chrono::system_clock::now()};
    if (!handlers->deliver(record)) writeToStandardError(record);
  } catch (const std::exception&) {
    complainOnStandardError("out of memory, a record was lost");
  }
}

}  // namespace qk::logging
