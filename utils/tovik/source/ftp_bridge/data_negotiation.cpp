#include <utility>

#include "tovik/ftp_bridge/ftp_bridge.h"

namespace tovik::ftp {

void Controller::startDataConnection(bool usePassive) {
  passive = usePassive;
  delete std::exchange(received, nullptr);
  // retire, not delete: the last transfer's connector may be the one whose handler is running.
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
  // If the address can't be formatted, nothing is reported, and the command stays in progress.
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
