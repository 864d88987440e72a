#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "qk/logging/log_level.h"
#include "qk/logging/visibility.h"

/// Leveled records, and handlers that take them.
namespace qk::logging {

/// A number by which a host's handlers choose how to present a record; the library only passes it on.
class QK_LOGGING_API DecodeType {
 public:
  /// Any number, implicitly: what it means is the host's affair.
  constexpr DecodeType(int number) : number_(number) {}
  /// The number again.
  constexpr operator int() const { return number_; }

 private:
  int number_;
};

/// The part of a host that a record speaks for.
struct QK_LOGGING_API Source {
  std::string name;  ///< as its records show it
};

/// One emitted message. A handler may copy it and keep the copy.
struct QK_LOGGING_API Record {
  LogLevel level;                              ///< at or above the threshold, when a log site emitted it
  unsigned int subCode;                        ///< the host's own; 0 from QK_LOG
  DecodeType decodeType;                       ///< 1 from QK_LOG
  std::shared_ptr<const Source> source;        ///< null: no particular source
  const char* file;                            ///< never null; the site's own text, which a record doesn't keep alive
  int line;                                    ///< of the file
  std::string text;                            ///< what was streamed, unescaped
  std::string extra;                           ///< further text; empty from QK_LOG
  std::chrono::system_clock::time_point time;  ///< when it was emitted
};

}  // namespace qk::logging
