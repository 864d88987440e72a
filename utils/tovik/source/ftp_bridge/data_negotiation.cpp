#include <utility>

#include "tovik/ftp_bridge/ftp_bridge.h"

namespace tovik::ftp {

void Controller::startDataConnection(bool usePassive) {
  passive = usePassive;
  delete std::exchange(received, nullptr);
  // The connector of the last transfer may be the very one that is delivering its outcome at this moment.
  transport->retire(std::exchange(dataConnector, nullptr));
  dataConnector = new DataConnector(*this);
  if (passive) return send(pending_e::passive, "PASV");
  announceListener();
}

void Controller::announceListener() {
  Address address(0);
  if (const Result listening = dataConnector->initActive(address); !listening) {
    replyText = listening.message;
    return onError();
  }
  address.insert_addr(&localAddr);
  std::string text;
  // Nothing is reported when the address has no text: the command stays in progress until the session is stopped.
  if (ProtocolInterpreter::convertAddr(address, text)) send(pending_e::port, "PORT " + text);
}

void Controller::onPort(bool ok, const std::string& text) {
  if (ok) return processDataConnection();
  replyText = text;
  onError();
}

void Controller::onPassiveSuccess(const Address& server) {
  QK_LOG(qk::logging::LogLevel::Trace) << "Tovik: initiating passive connection to " << server << " on interface "
                                       << connection.local.printInet();
  const Result connecting = dataConnector->initPassive(server, connection.local);
  if (connecting) return;
  replyText = connecting.message;
  onError();
}

void Controller::onPassiveFailure(const std::string& text) {
  replyText = text;
  onError();
}

void Controller::onDataUp() {
  QK_LOG(qk::logging::LogLevel::Trace) << "Tovik: data connection up";
  if (passive) processDataConnection();
}

void Controller::onDataDown() { QK_LOG(qk::logging::LogLevel::Trace) << "Tovik: onDataDown"; }

void Controller::processDataConnection() {
  if (command == cmd_e::nlst) return send(pending_e::nlst, "NLST");
  if (command == cmd_e::retr) send(pending_e::retr, "RETR " + fileName);
}

}  // namespace tovik::ftp
