#include <functional>
#include <new>
#include <utility>

#include "tovik/client.h"
#include "tovik/dispatch_store.h"
#include "tovik/exception.h"
#include "tovik/ftp_bridge/ftp_bridge.h"

namespace tovik::ftp {

namespace {

/// Made while the dispatcher is kept in the store: another thread may be about to remove it.
Transport* makeTransport(const std::string& dispatcherName, const Traits& traits, ThreadCallbacks* callbacks) {
  Transport* made = nullptr;
  const auto make = [&](DispatchGenerator* dispatcher) {
    if (dispatcher != nullptr)
      made = new Transport(dispatcher, traits, callbacks, nullptr, std::tr1::function<void(WorkerThread*)>(), "");
  };
  DispatchStore& store = DispatchStore::inst();
  store.use(dispatcherName, std::cref(make));
  if (made != nullptr) return made;
  QK_LOG(qk::logging::LogLevel::Warning) << "Tovik: ftp control: unknown dispatcher " << dispatcherName;
  store.use(0UL, std::cref(make));
  if (made == nullptr) throw Exception("ftp control: no dispatcher");
  return made;
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
      received(nullptr),
      cutByLimit(false),
      operations(0),
      failureReports(0) {
  connection.local.extract_addr(&localAddr);
  Traits traits;
  traits.first_byte_limit_s = transportSetting;
  transport = makeTransport(dispatcherName, traits, callbacks);
}

// In one step on the worker: a client that is notified of the end in here can start nothing new.
Controller::~Controller() {
  if (transport != nullptr)
    transport->call([this] {
      transport->refuseNew();
      static_cast<void>(stop());
    });
  delete transport;
  delete dataConnector;
}

Result Controller::start() {
  Result result;
  const auto connect = [this, &result] {
    try {
      Client connecting(*transport, Protocol::tcp, interpreter, "protocol_interpreter", false, nullptr);
      result = connecting.setup_and_connect(connection.server, connection.local, -1);
    } catch (const std::bad_alloc&) {
      result = failure("out of memory");
    }
  };
  transport->call(std::cref(connect));
  return result;
}

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
  const cmd_e failed = std::exchange(command, cmd_e::none);
  ++failureReports;
  switch (failed) {
    case cmd_e::nlst:
      return client->onNlstFailed(text);
    case cmd_e::retr:
      return client->onRetrieveFailed(name, text);
    default:
      return;
  }
}

}  // namespace tovik::ftp
