#include "log_handlers/json_line.h"

#include <gtest/gtest.h>

namespace log_handlers {
namespace {

using namespace std::string_literals;

qk::logging::Record recordWith(const std::string& text) {
  return {qk::logging::LogLevel::Warning,
          0,
          1,
          nullptr,
          "source/conduit.cpp",
          12,
          text,
          "",
          std::chrono::system_clock::time_point(std::chrono::microseconds(1'000'000'000'000'007))};
}

/// The text's own part of the line, between its quotes.
std::string escaped(const std::string& text) {
  const std::string line = jsonLine(recordWith(text));
  const std::string before = "\"text\":\"";
  const auto begin = line.find(before) + before.size();
  EXPECT_EQ(line.substr(line.size() - 3), "\"}\n");
  return line.substr(begin, line.size() - 3 - begin);
}

TEST(JsonLine, HoldsARecordInOneObject) {
  EXPECT_EQ(jsonLine(recordWith("hello")),
            "{\"time\":\"2001-09-09T01:46:40.000007Z\",\"level\":30,\"file\":\"source/conduit.cpp\",\"line\":12,"
            "\"text\":\"hello\"}\n");
}

TEST(JsonLine, NamesTheSourceAndTheExtraTextWhereThereIsOne) {
  qk::logging::Record record = recordWith("hello");
  record.source = std::make_shared<const qk::logging::Source>(qk::logging::Source{"the \"ftp\" part"});
  record.extra = "more\\";
  EXPECT_EQ(jsonLine(record),
            "{\"time\":\"2001-09-09T01:46:40.000007Z\",\"level\":30,\"source\":\"the \\\"ftp\\\" part\","
            "\"file\":\"source/conduit.cpp\",\"line\":12,\"text\":\"hello\",\"extra\":\"more\\\\\"}\n");
}

TEST(JsonLine, EscapesQuotesBackslashesAndControlCharacters) {
  EXPECT_EQ(escaped("\"quoted\""), "\\\"quoted\\\"");
  EXPECT_EQ(escaped("a\\b"), "a\\\\b");
  EXPECT_EQ(escaped("a\r\nb\tc"), "a\\u000d\\nb\\u0009c");
  EXPECT_EQ(escaped("\0\x01\x1b\x1f"s), "\\u0000\\u0001\\u001b\\u001f");
  EXPECT_EQ(escaped("a/b\x7f"), "a/b\x7f");
}

TEST(JsonLine, LeavesUtf8AsItIs) {
  for (const std::string text : {"\xc2\x80", "\xdf\xbf", "\xe0\xa0\x80", "\xed\x9f\xbf", "\xee\x80\x80", "\xef\xbf\xbf",
                                 "\xf0\x90\x80\x80", "\xf4\x8f\xbf\xbf"})
    EXPECT_EQ(escaped("a" + text + "b"), "a" + text + "b");
}

TEST(JsonLine, ReplacesEachByteThatIsNotUtf8) {
  const std::string one = "\\ufffd";
  EXPECT_EQ(escaped("caf\xe9 noir"), "caf" + one + " noir");
  EXPECT_EQ(escaped("\xc0\xaf"), one + one) << "a longer form than needed";
  EXPECT_EQ(escaped("\xe0\x9f\xbf"), one + one + one) << "a longer form than needed";
  EXPECT_EQ(escaped("\xf0\x8f\xbf\xbf"), one + one + one + one) << "a longer form than needed";
  EXPECT_EQ(escaped("\xed\xa0\x80"), one + one + one) << "half of a surrogate pair";
  EXPECT_EQ(escaped("\xf4\x90\x80\x80"), one + one + one + one) << "above U+10FFFF";
  EXPECT_EQ(escaped("\xe2\x82"), one + one) << "cut short by the end";
  EXPECT_EQ(escaped("\xe2\x82\""), one + one + "\\\"") << "cut short by what needs an escape itself";
  EXPECT_EQ(escaped("\xe2\xc3\xa9"), one + "\xc3\xa9") << "cut short by another sequence";
}

TEST(JsonLine, HoldsNoRawControlCharacterAndNoStrayByteWhateverStandsAlone) {
  for (int value = 0; value < 256; ++value) {
    const std::string text(1, static_cast<char>(value));
    const std::string shown = escaped(text);
    if (value >= 0x80)
      EXPECT_EQ(shown, "\\ufffd") << value;
    else if (value < 0x20 || text == "\"" || text == "\\")
      EXPECT_EQ(shown.front(), '\\') << value;
    else
      EXPECT_EQ(shown, text) << value;
  }
}

}  // namespace
}  // namespace log_handlers
