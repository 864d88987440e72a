#include <new>
#include <utility>

#include "tovik/client.h"
#include "tovik/dispatch_store.h"
#include "tovik/exception.h"
#include "tovik/ftp_bridge/ftp_bridge.h"

namespace tovik::ftp {

namespace {

DispatchGenerator* chooseDispatcher(const std::string& name) {
  DispatchGenerator* dispatcher = DispatchStore::inst().fetch(name);
  if (dispatcher != nullptr) return dispatcher;
  QK_LOG(qk::logging::LogLevel::Warning) << "Tovik: ftp control: unknown dispatcher " << name;
  dispatcher = DispatchStore::inst().fetch(0UL);
  if (dispatcher == nullptr) throw Exception("ftp control: no dispatcher");
  return dispatcher;
}

}  // namespace

// NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): passive, replyOk and replyReceived are each transfer's to set
Controller::Controller(const connection_data_t& connectionData, FTPclient* ftpClient, const std::string& dispatcherName,
                       int transportSetting, ThreadCallbacks* callbacks)
    : interpreter(*this),
      client(ftpClient),
      transport(nullptr),
      connection(connectionData),
      dataConnector(nullptr),
      command(cmd_e::none),
      received(nullptr) {
  connection.local.extract_addr(&localAddr);
  DispatchGenerator* const dispatcher = chooseDispatcher(dispatcherName);
  Traits traits;
  traits.first_byte_limit_s = transportSetting;
  transport = new Transport(dispatcher, traits, callbacks, nullptr, std::tr1::function<void(WorkerThread*)>(), "");
}

// The client may start one more transfer each time that it is told of an end in here: after stop the transport still
// takes its connector back, and one made when the transport has closed has no connection behind it.
Controller::~Controller() {
  static_cast<void>(stop());
  if (transport != nullptr) transport->call([this] { transport->retire(std::exchange(dataConnector, nullptr)); });
  delete transport;
  delete dataConnector;
}

Result Controller::start() try {
  Client connecting(*transport, Protocol::tcp, interpreter, "protocol_interpreter", false, nullptr);
  return connecting.setup_and_connect(connection.server, connection.local, -1);
} catch (const std::bad_alloc&) {
  return failure("out of memory");
}

// On the worker, so that any thread may stop at any moment, also while a handler is just starting the next transfer.
// The client may destroy the controller when it is told of the end: that is the last act.
Result Controller::stop() {
  if (transport == nullptr) {
    delete std::exchange(dataConnector, nullptr);
    return failure("not running");
  }
  transport->call([this] {
    transport->retire(std::exchange(dataConnector, nullptr));
    transport->deactivateAllConduits(-1);
  });
  return Success;
}

ConnectionStatistics Controller::statistics() const { return transport->statistics(); }

void Controller::onControlUp() { client->onConnected(); }

void Controller::onControlDown() { client->onDisconnected(); }

// Copies: the client's next command clears the members, and the destructor frees them.
void Controller::onError() {
  const std::string name = fileName;
  const std::string text = replyText;
  switch (std::exchange(command, cmd_e::none)) {
    case cmd_e::nlst:
      return client->onNlstFailed(text);
    case cmd_e::retr:
      return client->onRetrieveFailed(name, text);
    default:
      return;
  }
}

}  // namespace tovik::ftp
