#include <utility>

#include "gathering.h"
#include "tovik/channel.h"
#include "tovik/client.h"
#include "tovik/data_aggregator.h"
#include "tovik/ftp_bridge/ftp_bridge.h"

namespace tovik::ftp {

DataConnector::DataConnector(Controller& owner) : controller(owner) {}

// Must not use the controller: a connector whose handler destroyed the session is itself destroyed after that handler.
DataConnector::~DataConnector() {
  if (server != nullptr) static_cast<void>(server->stopListening(-1));
  delete server;
  if (channel != nullptr) channel->bringDown();
  delete received;
}

Result DataConnector::initActive(Address& address) {
  delete std::exchange(server, nullptr);
  server = new DataConnection(*this, *controller.transport);
  if (Result listening = server->startListening(address); !listening) return listening;
  address = server->address();
  return Success;
}

Result DataConnector::initPassive(const Address& remote, const Address& local) {
  Client connecting(*controller.transport, Protocol::tcp, *this, "data_connection", false, nullptr);
  return connecting.setup_and_connect(remote, local, -1);
}

bool DataConnector::getDataAggregator(Channel* up, DataAggregator*& aggregator) {
  aggregator = new SimpleAggregator(up, this);
  return true;
}

Consumer* DataConnector::getConsumer() { return this; }

void DataConnector::onChannelUp(Channel* up) {
  if (channel != nullptr && channel != up) channel->release();
  channel = up;
  controller.onDataUp();
}

void DataConnector::onData(Channel* /*from*/, const char* data, unsigned long size, Multicast* /*multicast*/) {
  if (received == nullptr)
    received = new std::string(data, size);
  else
    gather(*received, data, size);
}

void DataConnector::onChannelDown(Channel* down, int /*direction*/) {
  std::unique_ptr<std::string> gathered(std::exchange(received, nullptr));
  const EndCause cause = down == nullptr ? EndCause::other : down->endCause();
  // Bytes were lost, so the transfer must not be reported as complete.
  if (cause == EndCause::exception) return;
  if (cause == EndCause::limit) controller.cutByLimit = true;
  if (gathered == nullptr) gathered = std::make_unique<std::string>();
  // The client is notified of the transfer's end in onDataReceived and may destroy the session there.
  const std::weak_ptr<const void> session = controller.transport->life();
  controller.onDataReceived(gathered.release());
  if (!session.expired()) controller.onDataDown();
}

void DataConnector::onConduitInactive(Conduit* /*conduit*/) {}

}  // namespace tovik::ftp
