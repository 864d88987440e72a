#pragma once

#include <gmock/gmock.h>
#include <qk/logging/logging.h>

#include <string>
#include <string_view>

#include "standard_error_capture.h"

namespace qk::logging {

/// Captures what is written to standard error.
class StandardError : public ::testing::Test {
 protected:
  /// The part of the written line that shows the text.
  std::string shown(const std::string& text) {
    LogMessage(LogLevel::Warning, 0, 1, nullptr, "file.cpp", 12, text, "");
    const auto writes = capture_.writes();
    const std::string_view before = "[30] file.cpp:12 ";
    const std::size_t start = writes.at(0).find(before) + before.size();
    EXPECT_THAT(writes, ::testing::ElementsAre(::testing::EndsWith("\n")));
    return writes[0].substr(start, writes[0].size() - 1 - start);
  }

  StandardErrorCapture capture_;
};

}  // namespace qk::logging
