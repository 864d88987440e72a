#pragma once

#include <memory>
#include <optional>
#include <sstream>
#include <string>

#include "qk/logging/record.h"
#include "qk/logging/visibility.h"

namespace qk::logging {

/// Emits one record, whatever its level: QK_LOG compares the level with the threshold. Any thread may call it. Never
/// throws.
///
/// The record is passed to the handlers. If there are none, it is written to standard error as one line, in one write:
///
///     2026-11-21 12:00:00.123456 [30] file.cpp:12 text
///
/// with the local time, followed by " | " and the extra text if there is one. Control characters and bytes that are not
/// UTF-8 are written as `\n`, `\x1b` and the like, so a text can neither forge a second line nor control the terminal.
///
/// If memory runs out, the record is lost, and a line on standard error says so.
///
/// file may be null, which means empty. Handlers may keep the pointer, so the text should live as long as a string
/// literal.
QK_LOGGING_API void LogMessage(LogLevel level, unsigned int subCode, DecodeType decodeType,
                               const std::shared_ptr<const Source>& source, const char* file, int line,
                               const std::string& text, const std::string& extra) noexcept;

/// Returns the stream that the Loggers of this thread write to. It is created on first use and destroyed with the
/// thread, and can be used in destructors of static and thread-local objects. While no Logger exists, it is empty and
/// in the classic locale. Only Loggers should write to it. Throws std::bad_alloc, and std::system_error if the system
/// has no thread-specific key left.
QK_LOGGING_API std::ostringstream& GetThreadLocalStream();

/// Builds one record. Its text is what is written to stream(); the destructor emits it.
///
/// Threads: created, used and destroyed on one thread, in reverse order of creation. A Logger that is created while
///          another one exists on the same thread (in an operand of a log statement, or in a handler) does not change
///          the other's text and formatting.
/// Format:  that of a new stream in the classic locale, whatever the global locale is.
/// Errors:  the constructor throws std::bad_alloc if there is no memory for the copy of a non-empty extra. The
///          destructor never throws. If GetThreadLocalStream throws, the Logger writes to a stream of its own. Text
///          that the stream rejects (after a null char*, or out of memory) is missing from the record. A record that
///          can't be built is lost, see LogMessage. Neither errors nor formatting affect the next record.
class QK_LOGGING_API Logger {
 public:
  /// The arguments are those of LogMessage; source and extra are copied.
  Logger(LogLevel level, unsigned int subCode, DecodeType decodeType, const std::shared_ptr<const Source>& source,
         const char* file, int line, const std::string& extra);
  ~Logger();
  Logger(const Logger&) = delete;
  Logger& operator=(const Logger&) = delete;

  /// The stream for the record's text. Valid until the Logger is destroyed.
  std::ostream& stream() { return stream_; }

 private:
  bool ownsStream() const { return spare_ && &stream_ == &*spare_; }

  const LogLevel level_;
  const unsigned int subCode_;
  const DecodeType decodeType_;
  const std::shared_ptr<const Source> source_;
  const char* const file_;
  const int line_;
  const std::string extra_;

  // The enclosing Logger's text, while this one uses the thread's stream; or this one's stream, if the thread has none.
  std::optional<std::ostringstream> spare_;
  std::ostringstream& stream_;
};

}  // namespace qk::logging
