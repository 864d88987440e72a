#include <array>
#include <functional>
#include <memory>
#include <new>
#include <utility>

#include "tovik/client.h"
#include "tovik/dispatch_store.h"
#include "tovik/exception.h"
#include "tovik/ftp_bridge/ftp_bridge.h"

namespace tovik::ftp {

namespace {

/// Creates the transport inside DispatchStore::use, so that another thread can't remove the dispatcher meanwhile.
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

/// Limits the nesting: a client that retries inside each failure callback must not exhaust the stack.
constexpr unsigned mostOperations = 32;

const char* nameOf(Controller::cmd_e command) {
  static constexpr std::array<const char*, 7> names{"none", "pwd", "cwd", "cdup", "nlst", "retr", "quit"};
  const auto number = static_cast<std::size_t>(command);
  return number < names.size() ? names[number] : "unknown";
}

}  // namespace

// NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): each transfer sets passive, replyOk and replyReceived
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

// Refuses and stops in one step on the worker, so that the client can't start anything when it is notified of the end.
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

// The client may destroy the controller in onDisconnected, so deactivateAllConduits comes last.
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

/// Counts an operation while it is on the stack and the session is alive.
class Controller::Operation {
 public:
  explicit Operation(Controller& controller) : controller_(controller), session_(controller.transport->life()) {
    ++controller_.operations;
  }
  ~Operation() {
    if (!sessionIsGone()) --controller_.operations;
  }
  Operation(const Operation&) = delete;
  Operation& operator=(const Operation&) = delete;

  bool sessionIsGone() const { return session_.expired(); }

 private:
  Controller& controller_;
  const std::weak_ptr<const void> session_;
};

Result Controller::refuseBusy() const { return failure(nameOf(command) + std::string(" still active")); }

/// Runs act on the worker, so that no event of the session runs at the same time.
Result Controller::perform(const std::function<void()>& act) {
  Result result;
  const auto onWorker = [&] { result = begin(act); };
  transport->call(std::cref(onWorker));
  return result;
}

/// If memory runs out before the command is sent, the controller is idle again. An exception that the client throws
/// when it is notified of a failed set-up is passed to the caller.
Result Controller::begin(const std::function<void()>& act) {
  const Operation operation(*this);
  const unsigned long reportsBefore = failureReports;
  bool busy = true;
  try {
    if (transport->refusesNew()) return failure("the session is closed");
    if (command != cmd_e::none) return refuseBusy();
    if (operations > mostOperations) return failure("too many failures, each reported inside the one before");
    busy = false;
    act();
    return Success;
  } catch (const std::bad_alloc&) {
    if (operation.sessionIsGone() || failureReports != reportsBefore) throw;
    if (!busy) command = cmd_e::none;
    return failure("out of memory");
  }
}

void Controller::prepareCommand(cmd_e cmd) {
  command = cmd;
  replyReceived = false;
  replyText.clear();
  delete std::exchange(received, nullptr);
  fileName.clear();
  cutByLimit = false;
}

/// Sets the pending command first: the reply may arrive before sendCommand returns.
void Controller::send(pending_e awaited, const std::string& text) {
  interpreter.pending = awaited;
  interpreter.sendCommand(text);
}

void Controller::onControlUp() { client->onConnected(); }

void Controller::onControlDown() { client->onDisconnected(); }

// Passes copies: the client's next command clears the members, and the destructor frees them.
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
