#include "ftp_serve/data_link.h"

#include <tovik/channel.h>
#include <tovik/client.h>
#include <tovik/conduit.h>
#include <tovik/data_aggregator.h>
#include <tovik/server.h>
#include <tovik/socket_dir.h>
#include <tovik/transport.h>

#include <utility>

#include "ftp_serve/host_port.h"

namespace ftp_serve {

namespace {

constexpr int connectLimit_ms = 30'000;

}  // namespace

DataLink::DataLink(tovik::Transport& transport, Owner& owner, const tovik::Address& peer)
    : transport_(transport), owner_(owner), peer_(peer) {}

DataLink::~DataLink() = default;

tovik::Result DataLink::listen(tovik::Address& address) {
  listener_ =
      std::make_unique<tovik::Server>(transport_, tovik::Protocol::tcp, this, "data listener", false, nullptr, nullptr);
  if (tovik::Result listening = listener_->startListening(address); !listening) return listening;
  address = listener_->address();
  return tovik::Success;
}

tovik::Result DataLink::connect(const tovik::Address& remote, const tovik::Address& local) {
  tovik::Client client(transport_, tovik::Protocol::tcp, *this, "data connection", false, nullptr);
  return client.setup_and_connect(remote, local, connectLimit_ms);
}

void DataLink::sendAll(const std::string& text) {
  channel_->send(text.data(), text.size());
  sendsAll_ = true;
  channel_->bringDownWhenSent();
}

void DataLink::sendAll(FileTree::File file) {
  channel_->sendFile(std::move(file.descriptor), 0, file.size);
  sendsAll_ = true;
  channel_->bringDownWhenSent();
}

void DataLink::onConduitActive(tovik::Conduit* conduit) {
  wanted_ = channel_ == nullptr && isSameHost(conduit->remoteAddress(), peer_);
}

/// Comes right after onConduitActive, for the same connection.
bool DataLink::getDataAggregator(tovik::Channel* channel, tovik::DataAggregator*& aggregator) {
  if (wanted_) aggregator = new tovik::SimpleAggregator(channel, this);
  return wanted_;
}

void DataLink::onChannelUp(tovik::Channel* channel) {
  channel_ = channel;
  listener_.reset();
  owner_.onDataUp();
}

void DataLink::onChannelDown(tovik::Channel* /*channel*/, int direction) {
  owner_.onDataDown(sendsAll_ && direction == tovik::dirLocal);
}

/// Also of strangers, who never came up: while it listens, the right one may still come.
void DataLink::onConduitInactive(tovik::Conduit* /*conduit*/) {
  if (channel_ == nullptr && listener_ == nullptr) owner_.onDataFailed();
}

/// What a client sends on the data connection of a read-only server means nothing.
void DataLink::onData(tovik::Channel* /*channel*/, const char* /*data*/, unsigned long /*size*/,
                      tovik::Multicast* /*multicast*/) {}

}  // namespace ftp_serve
