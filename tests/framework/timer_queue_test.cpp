#include <gmock/gmock.h>
#include <tovik/timer_queue.h>

#include <functional>
#include <string>
#include <vector>

namespace tovik {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Timer final : public EventHandler {
 public:
  Timer(std::string name, std::vector<std::string>& fired) : name_(std::move(name)), fired_(fired) {}
  void onReady(unsigned /*events*/) override {}
  void onTimer() override {
    fired_.push_back(name_);
    if (act) act();
  }
  std::function<void()> act;

 private:
  const std::string name_;
  std::vector<std::string>& fired_;
};

class Timers : public ::testing::Test {
 protected:
  static TimerQueue::Time at(int tick) { return TimerQueue::Time(TimerQueue::Time::duration(tick)); }

  std::vector<std::string> fired;
  Timer a{"a", fired};
  Timer b{"b", fired};
  Timer c{"c", fired};
  TimerQueue queue;
};

TEST_F(Timers, FireOnTheTickAndNotOneEarlier) {
  queue.add(at(100), a);
  queue.fire(at(99));
  EXPECT_THAT(fired, IsEmpty());
  queue.fire(at(100));
  EXPECT_THAT(fired, ElementsAre("a"));
}

TEST_F(Timers, FireOnce) {
  queue.add(at(100), a);
  queue.fire(at(100));
  queue.fire(at(200));
  EXPECT_THAT(fired, ElementsAre("a"));
}

TEST_F(Timers, FireInOrderOfDeadlineWhateverTheOrderOfAdding) {
  queue.add(at(3), c);
  queue.add(at(1), a);
  queue.add(at(2), b);
  queue.fire(at(5));
  EXPECT_THAT(fired, ElementsAre("a", "b", "c"));
}

TEST_F(Timers, OfTheSameDeadlineFireInOrderOfAdding) {
  queue.add(at(1), c);
  queue.add(at(1), a);
  queue.add(at(1), b);
  queue.fire(at(1));
  EXPECT_THAT(fired, ElementsAre("c", "a", "b"));
}

TEST_F(Timers, ReportTheNextDeadline) {
  EXPECT_FALSE(queue.next());
  queue.add(at(7), a);
  queue.add(at(5), b);
  EXPECT_EQ(queue.next(), at(5));
  queue.fire(at(5));
  EXPECT_EQ(queue.next(), at(7));
  queue.fire(at(7));
  EXPECT_FALSE(queue.next());
}

TEST_F(Timers, ThatAreCancelledDoNotFire) {
  const auto id = queue.add(at(1), a);
  queue.add(at(1), b);
  queue.cancel(id);
  queue.fire(at(1));
  EXPECT_THAT(fired, ElementsAre("b"));
}

TEST_F(Timers, OfOneHandlerAreCancelledOneByOne) {
  queue.add(at(1), a);
  const auto second = queue.add(at(2), a);
  queue.add(at(3), a);
  queue.cancel(second);
  queue.fire(at(3));
  EXPECT_THAT(fired, ElementsAre("a", "a"));
}

TEST_F(Timers, MayCancelOthersWhileFiring) {
  const auto next = queue.add(at(2), b);
  const auto later = queue.add(at(9), c);
  queue.add(at(1), a);
  a.act = [&] {
    queue.cancel(next);
    queue.cancel(later);
  };
  queue.fire(at(5));
  EXPECT_THAT(fired, ElementsAre("a"));
  EXPECT_FALSE(queue.next());
}

TEST_F(Timers, MayAddOthersWhileFiring) {
  queue.add(at(1), a);
  a.act = [this] {
    queue.add(at(2), b);
    queue.add(at(6), c);
  };
  queue.fire(at(5));
  EXPECT_THAT(fired, ElementsAre("a", "b"));
  EXPECT_EQ(queue.next(), at(6));
}

TEST_F(Timers, MayAddThemselvesAgain) {
  queue.add(at(1), a);
  a.act = [this] { queue.add(at(10), a); };
  queue.fire(at(5));
  EXPECT_THAT(fired, ElementsAre("a"));
  a.act = nullptr;
  queue.fire(at(10));
  EXPECT_THAT(fired, ElementsAre("a", "a"));
}

TEST_F(Timers, AreKeptAfterOneThrows) {
  queue.add(at(1), a);
  queue.add(at(1), b);
  a.act = [] { throw 1; };
  EXPECT_THROW(queue.fire(at(1)), int);
  queue.fire(at(1));
  EXPECT_THAT(fired, ElementsAre("a", "b"));
}

}  // namespace
}  // namespace tovik
