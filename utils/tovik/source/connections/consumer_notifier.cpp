#include "connections/consumer_notifier.h"

#include <utility>

#include "connections/connection.h"
#include "connections/consumer_record.h"
#include "connections/transport_core.h"
#include "tovik/channel.h"
#include "tovik/consumer.h"
#include "tovik/data_aggregator.h"
#include "values/handler_exception.h"

namespace tovik {

ConsumerNotifier::ConsumerNotifier(TransportCore& core, std::shared_ptr<ConsumerRecord> record, Connection& connection)
    : core_(core), record_(std::move(record)), connection_(connection) {}

ConsumerNotifier::~ConsumerNotifier() = default;

bool ConsumerNotifier::takesData() const { return upNotified_ && !failed_ && !record_->isRetired(); }

void ConsumerNotifier::keep(std::shared_ptr<Channel> channel) { record_->addChannel(std::move(channel)); }

void ConsumerNotifier::newConduit() {
  if (std::exchange(newNotified_, true)) return;
  notify([this](Consumer& consumer) { consumer.onNewConduit(&connection_); });
}

void ConsumerNotifier::conduitActive() {
  notify([this](Consumer& consumer) { consumer.onConduitActive(&connection_); });
}

std::unique_ptr<DataAggregator> ConsumerNotifier::dataAggregator(Channel& channel) {
  DataAggregator* made = nullptr;
  bool given = false;
  notify([&](Consumer& consumer) { given = consumer.getDataAggregator(&channel, made); });
  std::unique_ptr<DataAggregator> aggregator(made);
  return given ? std::move(aggregator) : nullptr;
}

void ConsumerNotifier::newChannel(Channel& channel) {
  notify([&](Consumer& consumer) { consumer.onNewChannel(&channel); });
}

void ConsumerNotifier::channelUp(Channel& channel) {
  if (failed_) return;
  upNotified_ = true;
  notify([&](Consumer& consumer) { consumer.onChannelUp(&channel); });
}

void ConsumerNotifier::data(DataAggregator& aggregator, Buffer& buffer) {
  notify([&](Consumer& /*consumer*/) { aggregator.handleBuffer(&buffer, nullptr); });
}

void ConsumerNotifier::channelDown(Channel& channel, int direction) {
  if (!upNotified_ || std::exchange(downNotified_, true)) return;
  notifyOfEnd([&](Consumer& consumer) { consumer.onChannelDown(&channel, direction); });
}

void ConsumerNotifier::conduitInactive() {
  if (std::exchange(inactiveNotified_, true)) return;
  core_.removeConnection(connection_, *record_);
  notifyOfEnd([this](Consumer& consumer) { consumer.onConduitInactive(&connection_); });
  core_.release(record_);
}

template <class Event>
void ConsumerNotifier::notify(Event&& event) {
  if (!failed_) notifyOfEnd(event);
}

template <class Event>
void ConsumerNotifier::notifyOfEnd(Event&& event) {
  if (!record_->hold()) return;
  core_.start();
  try {
    event(record_->consumer());
  } catch (...) {
    failed_ = true;
    logHandlerException(connection_.name().c_str());
    core_.endConnectionsSoon();
  }
  core_.release(record_);
}

}  // namespace tovik
