#include "tovik/ftp_bridge/ftp_bridge.h"

namespace tovik::ftp {

DataConnection::DataConnection(DataConnector& connector, Transport& transport)
    : Server(transport, Protocol::tcp, &connector, "data_connection", false, nullptr, nullptr) {}

DataConnection::~DataConnection() = default;

}  // namespace tovik::ftp
