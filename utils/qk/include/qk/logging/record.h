#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "qk/logging/log_level.h"

namespace qk::logging {

/// A number by which a host's handlers choose how to present a record; the library only passes it on.
class DecodeType {
 public:
  constexpr DecodeType(int number) : number_(number) {}
  constexpr operator int() const { return number_; }

 private:
  int number_;
};

/// The part of a host that a record speaks for.
struct Source {
  std::string name;
};

/// One emitted message. A handler may copy it and keep the copy.
struct Record {
  LogLevel level;
  unsigned int subCode;
  DecodeType decodeType;
  std::shared_ptr<const Source> source;  ///< null: no particular source
  const char* file;                      ///< never null; the site's own text, which a record doesn't keep alive
  int line;
  std::string text;
  std::string extra;
  std::chrono::system_clock::time_point time;  ///< when it was emitted
};

}  // namespace qk::logging
