#include <gmock/gmock.h>
#include <qk/logging/logging.h>

#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "record_collector.h"
#include "standard_error_capture.h"

namespace qk::logging {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class Handlers : public ::testing::Test {
 protected:
  ~Handlers() override {
    for (const HandlerId id : added_) {
      RemoveHandler(id);
    }
  }

  HandlerId add(Handler handler) {
    added_.push_back(AddHandler(std::move(handler)));
    return added_.back();
  }

  /// A handler that records its name and the text.
  HandlerId addNoting(const std::string& name) {
    return add([this, name](const Record& record) { notes_.push_back(name + ":" + record.text); });
  }

  static void log(const std::string& text) { QK_LOG(LogLevel::Warning) << text; }

  std::vector<std::string> notes_;

 private:
  std::vector<HandlerId> added_;
};

TEST_F(Handlers, ReceiveARecordInTheOrderOfAdding) {
  addNoting("a");
  addNoting("b");
  log("1");
  EXPECT_THAT(notes_, ElementsAre("a:1", "b:1"));
}

TEST_F(Handlers, ReceiveNothingBeforeTheyAreAddedOrAfterTheyAreRemoved) {
  addNoting("a");
  log("1");
  const HandlerId b = addNoting("b");
  log("2");
  EXPECT_TRUE(RemoveHandler(b));
  log("3");
  EXPECT_THAT(notes_, ElementsAre("a:1", "a:2", "b:2", "a:3"));
}

TEST_F(Handlers, AreRemovedOnce) {
  const HandlerId id = addNoting("a");
  EXPECT_TRUE(RemoveHandler(id));
  EXPECT_FALSE(RemoveHandler(id));
}

TEST_F(Handlers, UnknownOnesCannotBeRemoved) {
  const HandlerId id = addNoting("a");
  EXPECT_FALSE(RemoveHandler(id + 1));
  EXPECT_FALSE(RemoveHandler(0));
  log("1");
  EXPECT_THAT(notes_, ElementsAre("a:1"));
}

TEST_F(Handlers, CannotBeEmpty) {
  EXPECT_THROW(static_cast<void>(AddHandler(nullptr)), std::invalid_argument);
  addNoting("a");
  log("1");
  EXPECT_THAT(notes_, ElementsAre("a:1"));
}

TEST_F(Handlers, DestroyTheirCallableWhenRemoved) {
  auto held = std::make_shared<int>();
  const std::weak_ptr<int> watched = held;
  const HandlerId id = add([held = std::move(held)](const Record&) {});
  EXPECT_FALSE(watched.expired());
  RemoveHandler(id);
  EXPECT_TRUE(watched.expired());
}

TEST_F(Handlers, MayLogWhenTheirCallableIsDestroyed) {
  struct LogsAtTheEnd {
    ~LogsAtTheEnd() { log("gone"); }
  };
  addNoting("a");
  const HandlerId id = add([held = std::make_shared<LogsAtTheEnd>()](const Record&) {});
  RemoveHandler(id);
  EXPECT_THAT(notes_, ElementsAre("a:gone"));
}

TEST_F(Handlers, MayRemoveThemselves) {
  std::optional<HandlerId> self;
  auto held = std::make_shared<std::string>("held");
  const std::weak_ptr<std::string> watched = held;
  self = add([this, &self, held = std::move(held)](const Record& record) {
    EXPECT_TRUE(RemoveHandler(*self));
    notes_.push_back(*held + ":" + record.text);
  });
  addNoting("b");
  log("1");
  log("2");
  EXPECT_THAT(notes_, ElementsAre("held:1", "b:1", "b:2"));
  EXPECT_TRUE(watched.expired());
}

TEST_F(Handlers, StillReceiveTheRecordDuringWhichTheyAreRemoved) {
  std::optional<HandlerId> later;
  add([&later](const Record&) { RemoveHandler(*later); });
  later = addNoting("b");
  log("1");
  log("2");
  EXPECT_THAT(notes_, ElementsAre("b:1"));
}

TEST_F(Handlers, AddedByAHandlerReceiveTheNextRecord) {
  bool added = false;
  add([this, &added](const Record&) {
    if (!std::exchange(added, true)) {
      addNoting("b");
    }
  });
  log("1");
  log("2");
  EXPECT_THAT(notes_, ElementsAre("b:2"));
}

TEST_F(Handlers, MayLogWithoutCallingThemselves) {
  add([](const Record& record) { QK_LOG(LogLevel::Warning) << "about " << record.text; });
  addNoting("b");
  log("1");
  log("2");
  EXPECT_THAT(notes_, ElementsAre("b:about 1", "b:1", "b:about 2", "b:2"));
}

TEST_F(Handlers, ThatBothLogReceiveEachOthersRecordsWithoutEndlessRecursion) {
  for (const std::string name : {"a", "b"}) {
    add([this, name](const Record& record) {
      notes_.push_back(name + ":" + record.text);
      log(record.text + name);
    });
  }
  const StandardErrorCapture standardError;
  log("1");
  EXPECT_THAT(notes_, ElementsAre("a:1", "b:1a", "b:1", "a:1b"));
}

TEST_F(Handlers, ThatLogAndAreAloneWriteToStandardError) {
  add([](const Record& record) { log("about " + record.text); });
  StandardErrorCapture standardError;
  log("1");
  EXPECT_THAT(standardError.writes(), ElementsAre(EndsWith(" about 1\n")));
}

TEST_F(Handlers, ThatLogDoNotChangeTheEnclosingRecordAndStatement) {
  add([](const Record& record) {
    const std::string before = record.text;
    QK_LOG(LogLevel::Warning) << std::hex << "inside";
    EXPECT_EQ(record.text, before);
  });
  addNoting("b");
  const auto operand = [] {
    log("operand");
    return 255;
  };
  QK_LOG(LogLevel::Warning) << "outer " << operand() << " end";
  EXPECT_THAT(notes_, ElementsAre("b:inside", "b:operand", "b:inside", "b:outer 255 end"));
}

TEST_F(Handlers, ThatEmitDirectlyUseTheCurrentHandlers) {
  std::optional<HandlerId> removed;
  add([&removed](const Record&) {
    RemoveHandler(*removed);
    LogMessage(LogLevel::Warning, 0, 1, nullptr, "file", 1, "direct", "");
  });
  removed = addNoting("b");
  addNoting("c");
  log("1");
  EXPECT_THAT(notes_, ElementsAre("c:direct", "b:1", "c:1"));
}

TEST_F(Handlers, ThatThrowDoNotStopTheOthers) {
  add([](const Record&) { throw std::runtime_error("disk\nfull"); });
  add([](const Record&) { throw 5; });
  add([](const Record&) { throw std::bad_alloc(); });
  addNoting("d");
  StandardErrorCapture standardError;
  EXPECT_NO_THROW(log("1"));
  EXPECT_THAT(notes_, ElementsAre("d:1"));
  EXPECT_THAT(standardError.writes(),
              ElementsAre("qk::logging: a handler threw: disk\\nfull\n", "qk::logging: a handler threw\n",
                          "qk::logging: a handler threw: std::bad_alloc\n"));
}

TEST_F(Handlers, ThatThrowReceiveTheNextRecord) {
  add([this](const Record& record) {
    notes_.push_back("a:" + record.text);
    throw std::runtime_error("full");
  });
  StandardErrorCapture standardError;
  log("1");
  log("2");
  EXPECT_THAT(notes_, ElementsAre("a:1", "a:2"));
  EXPECT_THAT(standardError.writes(), SizeIs(2));
}

TEST_F(Handlers, KeepRecordsOffStandardError) {
  addNoting("a");
  StandardErrorCapture standardError;
  log("1");
  EXPECT_THAT(standardError.writes(), IsEmpty());
}

TEST_F(Handlers, PinnedForARecordReceiveItEvenIfRemovedMeanwhile) {
  const HandlerId a = addNoting("a");
  const auto emit = [](const char* text) { LogMessage(LogLevel::Warning, 0, 1, nullptr, "file", 1, text, ""); };
  {
    const HandlerPin pin = ForceLockHandlers();
    RemoveHandler(a);
    addNoting("b");
    emit("1");
    emit("2");
  }
  emit("3");
  EXPECT_THAT(notes_, ElementsAre("a:1", "b:2", "b:3"));
}

TEST_F(Handlers, PinnedTwiceAreUsedInnermostFirst) {
  const auto emit = [](const char* text) { LogMessage(LogLevel::Warning, 0, 1, nullptr, "file", 1, text, ""); };
  const HandlerId a = addNoting("a");
  const HandlerPin outer = ForceLockHandlers();
  RemoveHandler(a);
  addNoting("b");
  {
    const HandlerPin inner = ForceLockHandlers();
    emit("1");
  }
  emit("2");
  EXPECT_THAT(notes_, ElementsAre("b:1", "a:2"));
}

}  // namespace
}  // namespace qk::logging
