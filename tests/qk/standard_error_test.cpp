#include <gmock/gmock.h>
#include <qk/logging/logging.h>

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

#include "record_collector.h"
#include "standard_error_fixture.h"

namespace qk::logging {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

/// The time zone of the process while the object exists. One thread only.
class TimeZone {
 public:
  explicit TimeZone(const char* zone) {
    if (const char* const former = std::getenv("TZ"); former != nullptr) {
      former_ = former;
    }
    ::setenv("TZ", zone, 1);
    ::tzset();
  }
  ~TimeZone() {
    former_ ? ::setenv("TZ", former_->c_str(), 1) : ::unsetenv("TZ");
    ::tzset();
  }
  TimeZone(const TimeZone&) = delete;
  TimeZone& operator=(const TimeZone&) = delete;

 private:
  std::optional<std::string> former_;
};

TEST_F(StandardError, GetsOneLineInOneWriteForEachRecordWithoutAHandler) {
  LogMessage(LogLevel::Warning, 0, 1, nullptr, "some/folder/file.cpp", 12, "text", "");
  LogMessage(LogLevel::Trace, 0, 1, nullptr, "file.cpp", 7, "other", "more");
  const std::string time = "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{6}";
  EXPECT_THAT(capture_.writes(), ElementsAre(MatchesRegex(time + " \\[30\\] file\\.cpp:12 text\n"),
                                             MatchesRegex(time + " \\[0\\] file\\.cpp:7 other \\| more\n")));
}

TEST_F(StandardError, GetsTheLocalTimeOfTheRecord) {
  const TimeZone nineHoursAhead("AHEAD-9");
  const auto before = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
  QK_LOG(LogLevel::Warning) << "text";
  const auto after = std::chrono::system_clock::now();

  std::tm calendar{};
  const std::string line = capture_.writes().at(0);
  ASSERT_NE(::strptime(line.c_str(), "%Y-%m-%d %H:%M:%S.", &calendar), nullptr) << line;
  const auto shown = std::chrono::system_clock::from_time_t(::timegm(&calendar)) - std::chrono::hours(9);
  EXPECT_LE(before, shown);
  EXPECT_LE(shown, after);
}

TEST_F(StandardError, GetsRecordsOnlyWhileThereIsNoHandler) {
  {
    const RecordCollector collector;
    QK_LOG(LogLevel::Warning) << "handled";
    EXPECT_THAT(capture_.writes(), IsEmpty());
  }
  QK_LOG(LogLevel::Warning) << "not handled";
  EXPECT_THAT(capture_.writes(), ElementsAre(EndsWith(" not handled\n")));
}

TEST_F(StandardError, ShowsControlCharactersEscaped) {
  EXPECT_EQ(shown("a\nb\r\nc\td"), "a\\nb\\r\\nc\\td");
  EXPECT_EQ(shown("\x1b[31mred\x07\x7f"), "\\x1b[31mred\\x07\\x7f");
  EXPECT_EQ(shown(std::string("a\0b", 3)), "a\\x00b");
}

TEST_F(StandardError, ShowsPrintableTextAsItIs) {
  EXPECT_EQ(shown(" !\"~\\n"), " !\"~\\n");
  EXPECT_EQ(shown(""), "");
}

TEST_F(StandardError, ShowsUtf8AsItIs) {
  for (const std::string text :
       {"\xc2\xa0", "gr\xc3\xbc\xc3\x9f", "\xdf\xbf", "\xe0\xa0\x80", "\xe2\x82\xac", "\xed\x9f\xbf", "\xef\xbf\xbd",
        "\xf0\x90\x80\x80", "\xf0\x9f\x98\x80", "\xf4\x8f\xbf\xbf"}) {
    EXPECT_EQ(shown(text), text);
  }
}

TEST_F(StandardError, ShowsTheControlCharactersAboveAsciiEscaped) {
  EXPECT_EQ(shown("\xc2\x9b"
                  "31m"),
            "\\xc2\\x9b31m");
  EXPECT_EQ(shown("\xc2\x80\xc2\x9f"), "\\xc2\\x80\\xc2\\x9f");
}

TEST_F(StandardError, ShowsBytesThatAreNotUtf8Escaped) {
  EXPECT_EQ(shown("\x9b"), "\\x9b");                             // no lead byte
  EXPECT_EQ(shown("\xff"), "\\xff");                             // no byte of UTF-8 at all
  EXPECT_EQ(shown("\xf5\x80\x80\x80"), "\\xf5\\x80\\x80\\x80");  // above the last lead byte
  EXPECT_EQ(shown("\xc1\xbf"), "\\xc1\\xbf");                    // overlong
  EXPECT_EQ(shown("\xc0\xaf"), "\\xc0\\xaf");                    // overlong
  EXPECT_EQ(shown("\xe0\x9f\xbf"), "\\xe0\\x9f\\xbf");           // overlong
  EXPECT_EQ(shown("\xf0\x8f\xbf\xbf"), "\\xf0\\x8f\\xbf\\xbf");  // overlong
  EXPECT_EQ(shown("\xed\xa0\x80"), "\\xed\\xa0\\x80");           // a surrogate
  EXPECT_EQ(shown("\xf4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80");  // above U+10FFFF
  EXPECT_EQ(shown("\xe2\x82"), "\\xe2\\x82");                    // cut short by the end
  EXPECT_EQ(shown("\xe2\x82\n"), "\\xe2\\x82\\n");               // cut short by a line feed
  EXPECT_EQ(shown("\xc3\xc3\xa9"), "\\xc3\xc3\xa9");             // cut short by a whole character
}

TEST_F(StandardError, ShowsFileAndExtraEscapedToo) {
  LogMessage(LogLevel::Warning, 0, 1, nullptr, "fi\nle.cpp", 12, "text", "ex\x1btra");
  EXPECT_THAT(capture_.writes(), ElementsAre(EndsWith("[30] fi\\nle.cpp:12 text | ex\\x1btra\n")));
}

TEST_F(StandardError, GetsALongLineInOneWrite) {
  const std::string text(50'000, 'x');
  EXPECT_EQ(shown(text), text);
}

}  // namespace
}  // namespace qk::logging
