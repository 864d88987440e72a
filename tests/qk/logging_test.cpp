#include <gmock/gmock.h>
#include <qk/logging/logging.h>

#include <chrono>
#include <iomanip>
#include <stdexcept>
#include <string>

#include "grouping_locale.h"
#include "record_collector.h"

namespace qk::logging {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::SizeIs;

class LogSite : public ::testing::Test {
 protected:
  LogSite() { SetMinLogLevel(LogLevel::Trace); }
  ~LogSite() override { SetMinLogLevel(LogLevel::Warning); }

  std::string logs(const std::string& text) {
    QK_LOG(LogLevel::Info) << text;
    return text + " logged";
  }

  RecordCollector collector_;
};

TEST(Threshold, IsInitiallyWarning) {
  EXPECT_EQ(g_minLogLevel, 30);
  EXPECT_TRUE(IsEnabled(LogLevel::Warning));
  EXPECT_FALSE(IsEnabled(LogLevel::Info));
}

TEST(Threshold, LevelsHaveTheirNumbers) {
  EXPECT_THAT((std::vector<int>{LogLevel::Trace, LogLevel::Debug, LogLevel::Info, LogLevel::Warning, LogLevel::Error}),
              ElementsAre(0, 10, 20, 30, 40));
}

TEST_F(LogSite, EmitsAtAndAboveTheThresholdAndNotBelow) {
  SetMinLogLevel(LogLevel::Warning);
  QK_LOG(29) << "below";
  QK_LOG(30) << "at";
  QK_LOG(31) << "above";
  EXPECT_THAT(collector_.texts(), ElementsAre("at", "above"));
}

TEST_F(LogSite, EvaluatesNothingBelowTheThreshold) {
  SetMinLogLevel(LogLevel::Warning);
  int evaluations = 0;
  QK_LOG(LogLevel::Trace) << ++evaluations;
  EXPECT_EQ(evaluations, 0);
  QK_LOG(LogLevel::Warning) << ++evaluations;
  EXPECT_EQ(evaluations, 1);
}

TEST_F(LogSite, DoesNotCaptureTheElseOfAnEnclosingIf) {
  for (const bool condition : {true, false}) {
    if (condition)
      QK_LOG(LogLevel::Info) << "then";
    else
      QK_LOG(LogLevel::Info) << "else";
  }
  EXPECT_THAT(collector_.texts(), ElementsAre("then", "else"));
}

TEST_F(LogSite, PassesOnItsLocationAndTheFixedValues) {
  const auto before = std::chrono::system_clock::now();
  QK_LOG(LogLevel::Error) << "text";
  const int line = __LINE__ - 1;
  const auto records = collector_.records();
  ASSERT_THAT(records, SizeIs(1));
  EXPECT_EQ(records[0].level, LogLevel::Error);
  EXPECT_EQ(records[0].subCode, 0U);
  EXPECT_EQ(records[0].decodeType, 1);
  EXPECT_EQ(records[0].source, nullptr);
  EXPECT_THAT(records[0].file, EndsWith("logging_test.cpp"));
  EXPECT_EQ(records[0].line, line);
  EXPECT_EQ(records[0].text, "text");
  EXPECT_EQ(records[0].extra, "");
  EXPECT_GE(records[0].time, before);
  EXPECT_LE(records[0].time, std::chrono::system_clock::now());
}

TEST_F(LogSite, EmitsAnEmptyTextWhenNothingIsStreamed) {
  QK_LOG(LogLevel::Info);
  EXPECT_THAT(collector_.texts(), ElementsAre(""));
}

TEST_F(LogSite, KeepsALongTextWhole) {
  const std::string text(1'000'000, 'x');
  QK_LOG(LogLevel::Info) << text << "end";
  QK_LOG(LogLevel::Info) << "short";
  EXPECT_THAT(collector_.texts(), ElementsAre(text + "end", "short"));
}

TEST_F(LogSite, KeepsNullBytes) {
  QK_LOG(LogLevel::Info) << std::string("a\0b", 3);
  EXPECT_THAT(collector_.texts(), ElementsAre(std::string("a\0b", 3)));
}

TEST_F(LogSite, DoesNotAffectTheFormattingOfTheNextRecord) {
  QK_LOG(LogLevel::Info) << std::hex << std::showbase << std::setfill('*') << std::setprecision(2) << std::boolalpha
                         << std::setw(6) << 255 << ' ' << 3.14159 << std::setw(9);
  QK_LOG(LogLevel::Info) << 255 << ' ' << 3.14159 << ' ' << true << std::setw(3) << 1;
  EXPECT_THAT(collector_.texts(), ElementsAre("**0xff 3.1", "255 3.14159 1  1"));
}

TEST_F(LogSite, DoesNotAffectTheLocaleOfTheNextRecord) {
  {
    Logger logger(LogLevel::Info, 0, 1, nullptr, "file", 1, "");
    logger.stream().imbue(groupingLocale());
    logger.stream() << 1'000'000;
  }
  QK_LOG(LogLevel::Info) << 1'000'000;
  EXPECT_THAT(collector_.texts(), ElementsAre("1.000.000", "1000000"));
}

TEST_F(LogSite, EndsItsTextAtANullCharPointerButNotTheNextText) {
  const char* const null = nullptr;
  QK_LOG(LogLevel::Info) << "before" << null << "after";
  QK_LOG(LogLevel::Info) << "next";
  EXPECT_THAT(collector_.texts(), ElementsAre("before", "next"));
}

TEST_F(LogSite, DoesNotAffectTheExceptionMaskOfTheNextRecord) {
  const char* const null = nullptr;
  EXPECT_THROW(
      {
        Logger logger(LogLevel::Info, 0, 1, nullptr, "file", 1, "");
        logger.stream().exceptions(std::ios::badbit);
        logger.stream() << "throws" << null;
      },
      std::ios::failure);
  EXPECT_NO_THROW(QK_LOG(LogLevel::Info) << "doesn't" << null);
  EXPECT_THAT(collector_.texts(), ElementsAre("throws", "doesn't"));
}

TEST_F(LogSite, EmitsTheTextBeforeAnOperandThatThrows) {
  const auto fails = []() -> int { throw std::runtime_error("operand"); };
  EXPECT_THROW(QK_LOG(LogLevel::Info) << "before " << fails(), std::runtime_error);
  QK_LOG(LogLevel::Info) << "next";
  EXPECT_THAT(collector_.texts(), ElementsAre("before ", "next"));
}

TEST_F(LogSite, MayAppearInAnOperandOfAnotherOne) {
  QK_LOG(LogLevel::Info) << "outer " << logs("inner") << " end";
  QK_LOG(LogLevel::Info) << "next";
  EXPECT_THAT(collector_.texts(), ElementsAre("inner", "outer inner logged end", "next"));
}

TEST_F(LogSite, DoesNotChangeTheFormattingOfTheEnclosingOne) {
  const auto number = [] {
    QK_LOG(LogLevel::Info) << 16 << std::oct << std::setfill('_') << std::setw(5) << 8;
    return 16;
  };
  QK_LOG(LogLevel::Info) << std::hex << std::setfill('.') << std::setw(4) << number() << ' ' << 17;
  EXPECT_THAT(collector_.texts(), ElementsAre("16___10", "..10 11"));
}

TEST_F(LogSite, MayBeNestedSeveralLevelsDeep) {
  const auto middle = [this] {
    QK_LOG(LogLevel::Info) << "b" << logs("c") << "b";
    return "middle";
  };
  QK_LOG(LogLevel::Info) << "a" << middle() << "a" << logs("d") << "a";
  EXPECT_THAT(collector_.texts(), ElementsAre("c", "bc loggedb", "d", "amiddlead loggeda"));
}

TEST_F(LogSite, IsNotAffectedByTheFailureOfANestedOne) {
  const auto failing = [] {
    QK_LOG(LogLevel::Info) << "inner" << static_cast<const char*>(nullptr);
    return "failing";
  };
  QK_LOG(LogLevel::Info) << "outer " << failing() << " end";
  EXPECT_THAT(collector_.texts(), ElementsAre("inner", "outer failing end"));
}

TEST_F(LogSite, WritesToTheStreamOfItsThreadAndEmptiesIt) {
  {
    Logger logger(LogLevel::Info, 0, 1, nullptr, "file", 1, "");
    EXPECT_EQ(&logger.stream(), &GetThreadLocalStream());
    logger.stream() << "text";
    EXPECT_EQ(GetThreadLocalStream().str(), "text");
  }
  EXPECT_EQ(GetThreadLocalStream().str(), "");
}

TEST_F(LogSite, PassesOnTheArgumentsOfALogger) {
  const auto source = std::make_shared<const Source>(Source{"pump"});
  Logger(LogLevel::Debug, 7, 3, source, "some/file.cpp", 12, "extra").stream() << "text";
  const auto records = collector_.records();
  ASSERT_THAT(records, SizeIs(1));
  EXPECT_EQ(records[0].level, LogLevel::Debug);
  EXPECT_EQ(records[0].subCode, 7U);
  EXPECT_EQ(records[0].decodeType, 3);
  EXPECT_EQ(records[0].source, source);
  EXPECT_STREQ(records[0].file, "some/file.cpp");
  EXPECT_EQ(records[0].line, 12);
  EXPECT_EQ(records[0].text, "text");
  EXPECT_EQ(records[0].extra, "extra");
}

TEST_F(LogSite, EmitsBelowTheThresholdWhenALoggerIsCreatedDirectly) {
  SetMinLogLevel(LogLevel::Error);
  Logger(LogLevel::Trace, 0, 1, nullptr, "file", 1, "").stream() << "text";
  EXPECT_THAT(collector_.texts(), ElementsAre("text"));
}

TEST_F(LogSite, MessagePassesOnItsArguments) {
  const auto source = std::make_shared<const Source>(Source{"pump"});
  LogMessage(-5, 8, 4, source, nullptr, 13, "message", "more");
  const auto records = collector_.records();
  ASSERT_THAT(records, SizeIs(1));
  EXPECT_EQ(records[0].level, -5);
  EXPECT_EQ(records[0].subCode, 8U);
  EXPECT_EQ(records[0].decodeType, 4);
  EXPECT_EQ(records[0].source->name, "pump");
  EXPECT_STREQ(records[0].file, "");
  EXPECT_EQ(records[0].line, 13);
  EXPECT_EQ(records[0].text, "message");
  EXPECT_EQ(records[0].extra, "more");
}

}  // namespace
}  // namespace qk::logging
