#include "recorder.h"

#include <gtest/gtest.h>
#include <tovik/socket_dir.h>

namespace testing_support {

using tovik::Channel;
using tovik::Conduit;

Recorder::Recorder() = default;

Recorder::~Recorder() { eventLog_->note("destroyed"); }

Recorder& Recorder::when(const std::string& event, std::function<void()> act) {
  acts_[event] = std::move(act);
  return *this;
}

Recorder& Recorder::takesLines() {
  takesLines_ = true;
  return *this;
}

Recorder& Recorder::givesNoAggregator(bool answer) {
  givesAggregator_ = false;
  answer_ = answer;
  return *this;
}

void Recorder::onNewSocket(tovik::Socket& socket) {
  // Not recorded: it runs on the thread that connects, and belongs to no conduit yet.
  if (socketAct) socketAct(socket);
}

void Recorder::onNewConduit(Conduit* conduit) {
  conduit_ = conduit;
  happens("onNewConduit");
}

void Recorder::onConduitActive(Conduit* conduit) {
  EXPECT_EQ(conduit, conduit_);
  happens("onConduitActive");
}

bool Recorder::getDataAggregator(Channel* channel, tovik::DataAggregator*& aggregator) {
  channel_.change([channel](Channel*& known) { known = channel; });
  if (givesAggregator_ && takesLines_)
    aggregator = new tovik::BufferedAggregator(channel, &input_, &packetizer_);
  else if (givesAggregator_)
    aggregator = new tovik::SimpleAggregator(channel, &input_);
  const bool answer = answer_;
  happens("getDataAggregator");
  return answer;
}

void Recorder::onNewChannel(Channel* channel) {
  EXPECT_EQ(channel, this->channel());
  happens("onNewChannel");
}

void Recorder::onChannelUp(Channel* channel) {
  EXPECT_EQ(channel, this->channel());
  happens("onChannelUp");
}

void Recorder::onChannelDown(Channel* channel, int direction) {
  EXPECT_EQ(channel, this->channel());
  const char* const side = tovik::printSocketDir(direction);
  happens(std::string("onChannelDown ") + (side == nullptr ? "?" : side), "onChannelDown");
}

void Recorder::onConduitInactive(Conduit* conduit) {
  EXPECT_EQ(conduit, conduit_);
  happens("onConduitInactive");
}

void Recorder::Input::onData(Channel* channel, const char* data, unsigned long size, tovik::Multicast* multicast) {
  EXPECT_EQ(channel, recorder_.channel());
  EXPECT_EQ(multicast, nullptr);
  if (recorder_.takesLines_) recorder_.lines_.emplace_back(data, size);
  recorder_.data_.change([&](std::string& all) { all.append(data, size); });
  recorder_.happens("data");
}

void Recorder::happens(const std::string& event) { happens(event, event); }

void Recorder::happens(const std::string& event, const std::string& actName) {
  // What is used from here on outlives the recorder, which the act may destroy.
  const struct Handling {
    Handling(std::shared_ptr<EventLog> into, std::string name) : eventLog(std::move(into)), event(std::move(name)) {
      eventLog->begin(event);
    }
    Handling(const Handling&) = delete;
    Handling& operator=(const Handling&) = delete;
    ~Handling() { eventLog->finish(event); }
    const std::shared_ptr<EventLog> eventLog;
    const std::string event;
  } handling(eventLog_, event);
  const auto found = acts_.find(actName);
  if (found == acts_.end()) return;
  const auto act = found->second;
  act();
}

const Events& allEvents() {
  static const Events events{"onNewConduit", "onConduitActive", "getDataAggregator", "onNewChannel", "onChannelUp",
                             "data",         "onChannelDown",   "onConduitInactive"};
  return events;
}

Events eventsUpTo(const std::string& event) {
  const Events& all = allEvents();
  Events events(all.begin(), std::find(all.begin(), all.end(), event) + 1);
  for (auto& name : events)
    if (name == "onChannelDown") name += " peer";
  return events;
}

Events eventsEndedIn(const std::string& event) {
  Events events = eventsUpTo(event);
  if (event == "onChannelUp" || event == "data") events.emplace_back("onChannelDown local");
  if (event != "onConduitInactive") events.emplace_back("onConduitInactive");
  return events;
}

bool isWholeLife(const Events& events) {
  Events middle = events;
  if (middle.empty() || middle.back() != "onConduitInactive") return false;
  middle.pop_back();
  const bool wasUp = std::find(middle.begin(), middle.end(), "onChannelUp") != middle.end();
  if (wasUp && middle.back().rfind("onChannelDown ", 0) != 0) return false;
  if (wasUp) middle.pop_back();
  const Events started(allEvents().begin(), allEvents().begin() + 6);
  return !middle.empty() && middle.size() <= started.size() &&
         std::equal(middle.begin(), middle.end(), started.begin());
}

}  // namespace testing_support
