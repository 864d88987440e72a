#include "ftp_serve/data_connection.h"

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

DataConnection::DataConnection(tovik::Transport& transport, Owner& owner, const tovik::Address& peer)
    : transport_(transport), owner_(owner), peer_(peer) {}

DataConnection::~DataConnection() = default;

tovik::Result DataConnection::listen(tovik::Address& address) {
  listener_ =
      std::make_unique<tovik::Server>(transport_, tovik::Protocol::tcp, this, "data listener", false, nullptr, nullptr);
  if (tovik::Result listening = listener_->startListening(address); !listening) return listening;
  address = listener_->address();
  return tovik::Success;
}

tovik::Result DataConnection::connect(const tovik::Address& remote, const tovik::Address& local) {
  tovik::Client client(transport_, tovik::Protocol::tcp, *this, "data connection", false, nullptr);
  return client.setup_and_connect(remote, local, connectLimit_ms);
}

void DataConnection::sendAll(const std::string& text) {
  channel_->send(text.data(), text.size());
  sendingAll_ = true;
  channel_->bringDownWhenSent();
}

void DataConnection::sendAll(FileTree::File file) {
  channel_->sendFile(std::move(file.descriptor), 0, file.size);
  sendingAll_ = true;
  channel_->bringDownWhenSent();
}

void DataConnection::onConduitActive(tovik::Conduit* conduit) {
  accepts_ = channel_ == nullptr && isSameHost(conduit->remoteAddress(), peer_);
}

/// Called right after onConduitActive, for the same connection.
bool DataConnection::getDataAggregator(tovik::Channel* channel, tovik::DataAggregator*& aggregator) {
  if (accepts_) aggregator = new tovik::SimpleAggregator(channel, this);
  return accepts_;
}

void DataConnection::onChannelUp(tovik::Channel* channel) {
  channel_ = channel;
  listener_.reset();
  owner_.onDataUp();
}

void DataConnection::onChannelDown(tovik::Channel* /*channel*/, int direction) {
  owner_.onDataDown(sendingAll_ && direction == tovik::dirLocal);
}

/// Also called for refused connections. As long as the listener exists, the client may still connect.
void DataConnection::onConduitInactive(tovik::Conduit* /*conduit*/) {
  if (channel_ == nullptr && listener_ == nullptr) owner_.onDataFailed();
}

/// The server is read-only: whatever a client sends on the data connection is ignored.
void DataConnection::onData(tovik::Channel* /*channel*/, const char* /*data*/, unsigned long /*size*/,
                            tovik::Multicast* /*multicast*/) {}

}  // namespace ftp_serve
