#pragma once

#include <tovik/consumer.h>
#include <tovik/data_aggregator.h>
#include <tovik/data_handler.h>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "support/waiting.h"

namespace testing_support {

using Events = std::vector<std::string>;

/// The events of a Recorder; outlives it.
class EventLog {
 public:
  /// Records an event that is over. Data that arrives in several pieces is one event.
  void note(const std::string& event) {
    begin(event);
    finish(event);
  }
  /// Records an event whose handling starts.
  void begin(const std::string& event) {
    state_.change([&](State& state) { add(state.started, event); });
  }
  void finish(const std::string& event) {
    state_.change([&](State& state) { add(state.done, event); });
  }

  /// Waits until an event has been handled the given number of times. The results of its handling may then be read.
  [[nodiscard]] bool waitsFor(const std::string& event, long times = 1) const {
    return state_.waitUntil(
        [&](const State& state) { return std::count(state.done.begin(), state.done.end(), event) >= times; });
  }
  /// In the order in which they came.
  Events events() const { return state_.get().started; }
  long count(const std::string& event) const {
    const Events all = events();
    return std::count(all.begin(), all.end(), event);
  }

 private:
  struct State {
    Events started;
    Events done;
  };
  static void add(Events& events, const std::string& event) {
    if (event != "data" || events.empty() || events.back() != "data") events.push_back(event);
  }

  Awaited<State> state_;
};

/// A consumer that records its events, under the names of the operations, and keeps its data. A test sets an action for
/// an event with `when`, before the connection starts.
class Recorder : public tovik::Consumer {
 public:
  Recorder();
  ~Recorder() override;

  /// The act runs in each event of that name, after the event has been recorded. "data" is an event, too.
  Recorder& when(const std::string& event, std::function<void()> act);
  /// Receives lines instead of bytes as they arrive.
  Recorder& takesLines();
  /// Makes getDataAggregator return answer, without an aggregator.
  Recorder& givesNoAggregator(bool answer);

  const std::shared_ptr<EventLog>& eventLog() const { return eventLog_; }
  [[nodiscard]] bool waitsFor(const std::string& event, long times = 1) const {
    return eventLog_->waitsFor(event, times);
  }
  Events events() const { return eventLog_->events(); }
  [[nodiscard]] bool waitsForData(unsigned long size) const {
    return data_.waitUntil([size](const std::string& data) { return data.size() >= size; });
  }
  std::string data() const { return data_.get(); }
  const std::vector<std::string>& lines() const { return lines_; }

  /// Of the latest connection.
  tovik::Channel* channel() const { return channel_.get(); }
  tovik::Conduit* conduit() const { return conduit_; }

  void onNewSocket(tovik::Socket& socket) override;
  void onNewConduit(tovik::Conduit* conduit) override;
  void onConduitActive(tovik::Conduit* conduit) override;
  bool getDataAggregator(tovik::Channel* channel, tovik::DataAggregator*& aggregator) override;
  void onNewChannel(tovik::Channel* channel) override;
  void onChannelUp(tovik::Channel* channel) override;
  void onChannelDown(tovik::Channel* channel, int direction) override;
  void onConduitInactive(tovik::Conduit* conduit) override;

  std::function<void(tovik::Socket&)> socketAct;

 private:
  class Input : public tovik::CharHandler {
   public:
    explicit Input(Recorder& recorder) : recorder_(recorder) {}
    void onData(tovik::Channel* channel, const char* data, unsigned long size, tovik::Multicast* multicast) override;

   private:
    Recorder& recorder_;
  };

  void happens(const std::string& event);
  void happens(const std::string& event, const std::string& actName);

  const std::shared_ptr<EventLog> eventLog_ = std::make_shared<EventLog>();
  std::map<std::string, std::function<void()>> acts_;
  bool takesLines_ = false;
  bool givesAggregator_ = true;
  bool answer_ = true;

  Awaited<std::string> data_;
  std::vector<std::string> lines_;
  Awaited<tovik::Channel*> channel_;
  tovik::Conduit* conduit_ = nullptr;
  Input input_{*this};
  tovik::TelnetPacketizer packetizer_;
};

/// The events of a connection that this side ended inside the given event; for the last two events, the peer ended it.
Events eventsEndedIn(const std::string& event);

/// The events of a connection up to the given one.
Events eventsUpTo(const std::string& event);

/// The names of the events of a connection, in order.
const Events& allEvents();

/// Whether these are all events of one connection, in order, at whatever stage it ended.
bool isWholeLife(const Events& events);

}  // namespace testing_support
