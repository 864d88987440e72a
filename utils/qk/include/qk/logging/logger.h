#pragma once

#include <memory>
#include <optional>
#include <sstream>
#include <string>

#include "qk/logging/record.h"
#include "qk/logging/visibility.h"

namespace qk::logging {

/// Emits one record, whatever its level: the threshold is the log site's affair. Any thread; never throws.
///
/// The record goes to the handlers. One that no handler takes is written to standard error, as one line in one write:
///
///     2026-11-21 12:00:00.123456 [30] file.cpp:12 text
///
/// with the local time, then " | " and the extra text if there is one. Control characters and bytes that aren't UTF-8
/// appear as `\n`, `\x1b` and the like, so a text can neither fake a second line nor drive the terminal.
///
/// A record that cannot be built for want of memory is lost, and standard error says so.
///
/// A null file counts as empty; handlers may keep the pointer, so it should last as __FILE__ does.
QK_LOGGING_API void LogMessage(LogLevel level, unsigned int subCode, DecodeType decodeType,
                               const std::shared_ptr<const Source>& source, const char* file, int line,
                               const std::string& text, const std::string& extra) noexcept;

/// The stream that this thread's Loggers write into: made on first use, destroyed with the thread, usable from the
/// destructors of statics and of thread-local objects. Empty and in the classic locale while no Logger lives; leave
/// writing to them.
/// Throws std::bad_alloc, std::system_error if the system has no thread-specific key left.
QK_LOGGING_API std::ostringstream& GetThreadLocalStream();

/// Builds one record: what is streamed until the destructor is its text.
///
/// Threads: built, used and destroyed on one thread, the innermost first: one that is built while another lives on the
///          same thread (a site in an operand of another site, or in a handler) leaves the other's text and formatting
///          as they were.
/// Format:  as a new stream's, and in the classic locale, whatever the host's global one is.
/// Errors:  the constructor throws std::bad_alloc if there is no memory for the copy of extra, which an empty one does
///          not need; the destructor never throws. Where GetThreadLocalStream throws, the text is written into a
///          stream of the Logger's own. What the stream refuses (after a null char*, or when out of memory) is missing
///          from the text; a record that cannot be built is lost, as LogMessage says. None of it reaches the next
///          record, nor does formatting.
class QK_LOGGING_API Logger {
 public:
  /// The arguments are those of LogMessage; source and extra are copied.
  Logger(LogLevel level, unsigned int subCode, DecodeType decodeType, const std::shared_ptr<const Source>& source,
         const char* file, int line, const std::string& extra);
  ~Logger();
  Logger(const Logger&) = delete;
  Logger& operator=(const Logger&) = delete;

  /// Where the text goes.
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

  // What the site around this one has written so far; or, where the thread has no stream, this site's own.
  std::optional<std::ostringstream> spare_;
  std::ostringstream& stream_;
};

}  // namespace qk::logging
