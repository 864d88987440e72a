#include "tovik/ftp_bridge/ftp_bridge.h"

namespace tovik::ftp {

DataConnection::DataConnection(DataConnector& connector, Transport& transport)
    : Server(transport, Protocol::tcp, &connector, "data_connection", false, nullptr, nullptr) {}

// The worker calls virtual functions of this object, so the listener must stop before the Server part is destroyed.
DataConnection::~DataConnection() { static_cast<void>(Server::stopListening(-1)); }

}  // namespace tovik::ftp
