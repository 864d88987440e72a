#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "qk/logging/log_level.h"
#include "qk/logging/visibility.h"

/// Records with a level, and handlers that receive them.
namespace qk::logging {

/// A number that a host's handlers can use to decide how to display a record. The library only passes it on.
class QK_LOGGING_API DecodeType {
 public:
  /// Converts from any number; the host defines its meaning.
  constexpr DecodeType(int number) : number_(number) {}
  /// The number.
  constexpr operator int() const { return number_; }

 private:
  int number_;
};

/// The part of a host that a record comes from.
struct QK_LOGGING_API Source {
  std::string name;  ///< as shown in its records
};

/// One emitted message. A handler may copy it and keep the copy.
struct QK_LOGGING_API Record {
  LogLevel level;                              ///< at or above the threshold, if QK_LOG emitted it
  unsigned int subCode;                        ///< defined by the host; 0 from QK_LOG
  DecodeType decodeType;                       ///< 1 from QK_LOG
  std::shared_ptr<const Source> source;        ///< null if there is no particular source
  const char* file;                            ///< the source file; never null, borrowed
  int line;                                    ///< the line in that file
  std::string text;                            ///< the message, unescaped
  std::string extra;                           ///< additional text; empty from QK_LOG
  std::chrono::system_clock::time_point time;  ///< when it was emitted
};

}  // namespace qk::logging
