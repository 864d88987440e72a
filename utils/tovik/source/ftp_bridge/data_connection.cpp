#include "tovik/ftp_bridge/ftp_bridge.h"

namespace tovik::ftp {

DataConnection::DataConnection(DataConnector& connector, Transport& transport)
    : Server(transport, Protocol::tcp, &connector, "data_connection", false, nullptr, nullptr) {}

// The worker calls virtual operations of this object: it must be done with them before the object becomes a Server.
DataConnection::~DataConnection() { static_cast<void>(Server::stopListening(-1)); }

}  // namespace tovik::ftp
