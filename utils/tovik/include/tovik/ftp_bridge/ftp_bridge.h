#pragma once

/// An asynchronous FTP client (RFC 959). A host creates one Controller per session and implements FTPclient, which is
/// notified of every outcome.
///
/// Threads:   all events of a session and all its FTPclient callbacks run on one worker thread of the framework, one at
///            a time. Any thread may call any operation of the Controller at any time, including from inside a
///            callback.
/// Callbacks: a callback may do anything: start the next command, stop the session, destroy the Controller.

#include <netinet/in.h>
#include <qk/logging/logging.h>

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "tovik/address.h"
#include "tovik/consumer.h"
#include "tovik/data_handler.h"
#include "tovik/data_packetizer.h"
#include "tovik/exception.h"
#include "tovik/result.h"
#include "tovik/send_destination.h"
#include "tovik/server.h"
#include "tovik/sockbuf.h"
#include "tovik/transport.h"
#include "tovik/visibility.h"

/// FTP sessions: one Controller per session, and the FTPclient that it notifies.
namespace tovik::ftp {

class Controller;
class DataConnection;

/// A reply code (RFC 959, section 4.2) as three digits.
struct TOVIK_API code_t {
  std::int16_t first = 0;   ///< 1 to 5 when parsed
  std::int16_t second = 0;  ///< 0 to 5 when parsed
  std::int16_t third = 0;   ///< 0 to 9 when parsed

  /// Compares the digits one by one.
  friend bool operator==(const code_t&, const code_t&) = default;
};

/// Writes the three digits without separators, such as 530.
TOVIK_API std::ostream& operator<<(std::ostream& out, const code_t& code);

/// The server, and the account to log in with. The texts are sent unchanged: one that contains CR LF would be sent as
/// two commands.
struct TOVIK_API connection_data_t {
  Address server;        ///< the server's address for the control connection
  Address local;         ///< the local interface to connect from; its host is announced in PORT
  std::string user;      ///< for USER
  std::string password;  ///< for PASS, if the server asks; appears in clear text in the log at level 0
  std::string account;   ///< for ACCT, if the server asks; appears in clear text in the log at level 0
};

/// The callbacks that a host implements to receive a session's outcomes.
///
/// Threads:   every callback runs on the session's worker thread. Some run while another thread is blocked in an
///            operation of the Controller: onNlstFailed and onRetrieveFailed during getNlst and getFile, if the
///            listener for active mode can't be opened, and onDisconnected during stop and the destructor.
/// Ownership: arguments are valid only during the call, except the content passed to onRetrieve, which the client owns.
/// Callbacks: when a callback reports the end of a command, the controller is idle again, so the client may start the
///            next command inside it.
/// Errors:    an exception thrown by a callback is logged at level 30 and ends the session's connections;
///            onDisconnected follows. An exception thrown during getNlst or getFile reaches their caller instead.
class TOVIK_API FTPclient {
 public:
  virtual ~FTPclient() = default;

  /// The login succeeded. A login that the server refuses is not reported.
  virtual void onConnected() = 0;
  /// The control connection ended or could not be established. A command that was in progress stays in progress, so
  /// the controller refuses every later command.
  virtual void onDisconnected() = 0;
  /// PWD succeeded. directory: the name from the reply, without the double quotes around it.
  virtual void onPwd(const std::string& directory) = 0;
  /// PWD failed, or the reply contains no quoted name. text: the first line of the reply without its code, here and
  /// below; for a reply without a name, "couldn't parse " and that text.
  virtual void onPwdFailed(const std::string& text) = 0;
  /// CWD succeeded.
  virtual void onCwd(const std::string& text) = 0;
  /// CWD failed; the current directory is unchanged.
  virtual void onCwdFailed(const std::string& text) = 0;
  /// CDUP succeeded: the current directory is now the parent directory.
  virtual void onCdup(const std::string& text) = 0;
  /// CDUP failed; the current directory is unchanged.
  virtual void onCdupFailed(const std::string& text) = 0;
  /// NLST succeeded. names: the names in the current directory, in the server's order and spelling.
  virtual void onNlst(const std::vector<std::string>& names, const std::string& text) = 0;
  /// NLST failed, or the listing is incomplete. text may also say why the data connection could not be set up.
  virtual void onNlstFailed(const std::string& text) = 0;
  /// RETR succeeded. content: the bytes received on the data connection, unchanged; the client deletes it. May be null.
  virtual void onRetrieve(const std::string& fileName, const std::string& text, std::string* content) = 0;
  /// RETR failed, or the file is incomplete. text may also say why the data connection could not be set up.
  virtual void onRetrieveFailed(const std::string& fileName, const std::string& text) = 0;
};

/// The command whose reply the interpreter awaits. Before the login is done, replies are accepted only for none, user,
/// password and account; after it, only for the others.
enum class pending_e : std::int32_t { none, user, password, account, port, passive, pwd, cwd, cdup, nlst, retr, quit };

/// The consumer of the control connection. Reads the server's replies, performs the login, matches each later reply
/// with the pending command, and writes commands. It is a member of a Controller and reports every outcome to it.
///
/// Threads: the session's worker only.
class TOVIK_API ProtocolInterpreter : public Consumer, public TelnetPacketizer, public CharHandler {
 public:
  /// Borrows the controller, and uses it only in events: it may still be under construction.
  explicit ProtocolInterpreter(Controller& owner);
  ~ProtocolInterpreter() override;

  bool getDataAggregator(Channel* up, DataAggregator*& aggregator) override;
  void onNewConduit(Conduit* conduit) override;
  void onConduitInactive(Conduit* conduit) override;
  void onChannelUp(Channel* up) override;
  void onChannelDown(Channel* down, int direction) override;

  /// Handles one line received on the control connection. A complete reply is passed to onInput; a line that belongs
  /// to no reply is logged at level 30 and dropped.
  void onData(Channel* from, const char* data, unsigned long size, Multicast* multicast) override;

  /// Sends one command line and adds CR LF. The text is logged at level 0, passwords included, and is not checked.
  /// Without a connection, nothing is sent and nothing is reported.
  void sendCommand(const std::string& text) {
    QK_LOG(qk::logging::LogLevel::Trace) << "Tovik: [FTP] " << text;
    const SendDestination destination(channel);
    sockbuf buffer(destination, nullptr);
    std::ostream(&buffer) << text << "\r\n";
  }

  /// Parses the reply code at the start of a line (RFC 959, section 4.2). Returns false if there is none; code may then
  /// be partly written. If a minus sign follows the code, sets continued to true; if nothing follows it, to false;
  /// otherwise leaves it unchanged. rest: the text after the code and the minus sign, trimmed.
  static bool parseReturnCode(const std::string& line, code_t& code, bool& continued, std::string& rest);

  /// Handles one complete reply: sends a command, notifies the controller, ends the connection or logs a line.
  void onInput(const code_t& code, const std::vector<std::string>& lines);

  /// Formats an address as the argument of PORT, h1,h2,h3,h4,p1,p2 (RFC 959, section 4.1.2). On failure, text is
  /// unchanged.
  static Result convertAddr(const Address& address, std::string& text);
  /// Parses h1,h2,h3,h4,p1,p2. Several commas in a row count as one; the range of p1 and p2 is not checked. On failure,
  /// the port of address is unchanged.
  static Result convertAddr(const std::string& text, Address& address);

 private:
  friend class Controller;

  using Lines = std::vector<std::string>;
  struct Reply;
  using Action = void (ProtocolInterpreter::*)(const Reply& reply);
  struct Rule;
  struct AcceptedReplies;

  static const AcceptedReplies& acceptedReplies(pending_e command);

  void continueReply(bool valid, const code_t& code, const std::string& rest);
  void bringDown();

  void wait(const Reply& reply);
  void sendUser(const Reply& reply);
  void sendPassword(const Reply& reply);
  void sendAccount(const Reply& reply);
  void logIn(const Reply& reply);
  void refuseLogin(const Reply& reply);
  void logNotImplemented(const Reply& reply);
  void logOut(const Reply& reply);
  template <void (Controller::*event)(bool, const std::string&), bool ok>
  void report(const Reply& reply);
  void reportPassiveAddress(const Reply& reply);
  void reportPassiveFailure(const Reply& reply);
  void logRestartMarker(const Reply& reply);
  void endSession(const Reply& reply);

  std::int32_t replyState = 0;    // 0: the next line starts a reply; 1: inside a multi-line reply
  code_t replyCode;               // the code of the multi-line reply in progress
  Lines replyLines;               // the texts of the reply in progress, or of the last one
  std::int32_t sessionState = 0;  // 0: not logged in; 1: logged in
  pending_e pending = pending_e::none;
  Controller& controller;
  Channel* channel = nullptr;  // the last one that came up
};

/// The consumer of one transfer's data connection. Listens for the connection (active mode) or makes it (passive
/// mode), collects the bytes that arrive, and passes them to the controller when the channel goes down.
///
/// Threads:   the session's worker only.
/// Ownership: owned by the controller, which retires it with Transport::retire. Owns its listener and the bytes
///            received so far.
class TOVIK_API DataConnector : public Consumer, public ConsumerGenerator, public CharHandler {
 public:
  /// Borrows the controller, which must be alive during events and during initActive and initPassive.
  explicit DataConnector(Controller& owner);
  ~DataConnector() override;

  /// Starts listening on address; port 0 means any free port. On success, address is the address listened on. A
  /// listener from an earlier call is destroyed first.
  Result initActive(Address& address);
  /// Starts connecting from the local address to the server's data address. If the connection fails later, the
  /// controller is not notified.
  Result initPassive(const Address& remote, const Address& local);

  bool getDataAggregator(Channel* up, DataAggregator*& aggregator) override;
  void onConduitInactive(Conduit* conduit) override;
  void onChannelUp(Channel* up) override;
  void onChannelDown(Channel* down, int direction) override;
  Consumer* getConsumer() override;
  void onData(Channel* from, const char* data, unsigned long size, Multicast* multicast) override;

 private:
  Controller& controller;
  DataConnection* server = nullptr;  // owned
  Channel* channel = nullptr;        // the last one that came up
  std::string* received = nullptr;   // owned; null until the first byte arrives, and again once passed on
};

/// The listener for active-mode data connections. The connector is the consumer of every connection that it accepts.
class TOVIK_API DataConnection : public Server {
 public:
  /// Borrows both; does not listen yet.
  DataConnection(DataConnector& connector, Transport& transport);
  ~DataConnection() override;
};

/// One FTP session. Runs one command at a time and reports its outcome to the client.
///
/// Threads:   any thread may call any operation at any time; only one thread may destroy the controller, and none may
///            use it afterwards. An operation runs on the session's worker, between two callbacks, and returns when it
///            has run: the command's log line is written and the command is sent. The caller therefore waits for a
///            callback that is running, and must not hold a lock that a callback takes; this includes stop and the
///            destructor. statistics never waits, and an operation that is called inside a callback of the same session
///            runs at once. A log handler must not destroy the session that logs.
/// Ownership: borrows the client and the thread callbacks, which must outlive it. Received data that the client does
///            not own yet, of a failed transfer or of one in progress, is not freed by the destructor.
/// Errors:    operations return a Result. If another command is in progress, an operation changes nothing and fails
///            with that command's name and " still active". There is no time-out: a command that never gets its reply
///            keeps the controller busy. "out of memory" means that nothing was started. Once the destructor has
///            started, start and every command fail.
class TOVIK_API Controller {
 public:
  /// The command in progress. The log shows its number.
  enum class cmd_e : int { none, pwd, cwd, cdup, nlst, retr, quit };

  /// dispatcherName: the dispatcher that runs the session; if there is none of this name, dispatcher 0 is used.
  /// transportSetting: Traits::first_byte_limit_s of the session's transport, in seconds; 0 means no limit.
  /// callbacks: may be null. Throws Exception "ftp control: no dispatcher" if there is no dispatcher at all, and
  /// std::bad_alloc. Copies the connection data; connects to nothing yet.
  Controller(const connection_data_t& connectionData, FTPclient* ftpClient, const std::string& dispatcherName,
             int transportSetting, ThreadCallbacks* callbacks);
  Controller(const Controller&) = delete;
  Controller& operator=(const Controller&) = delete;
  /// Stops the session, so onDisconnected may run inside the destructor; the client can't start anything there. May be
  /// called from inside a callback.
  ~Controller();

  /// Starts connecting to the server. The login follows without further calls; onConnected reports its success,
  /// onDisconnected the end of the connection. A failed Result means that no callback follows.
  Result start();
  /// Ends every connection of the session. onDisconnected has run by the time it returns.
  Result stop();

  /// Asks for the current directory (PWD). Ends with onPwd or onPwdFailed.
  Result getPwd();
  /// Changes the current directory (CWD). Ends with onCwd or onCwdFailed. The name is sent unchanged.
  Result changeCwd(const std::string& directory);
  /// Changes to the parent directory (CDUP). Ends with onCdup or onCdupFailed.
  Result cdUp();
  /// Lists the current directory (NLST). Ends with onNlst or onNlstFailed. usePassive: PASV if true, PORT if false.
  /// Returns success even if the listener for active mode can't be opened: onNlstFailed has then run inside the call.
  /// If the client calls it again inside that callback and so on, the 33rd nested call returns a failed Result and
  /// makes no callback.
  Result getNlst(bool usePassive);
  /// Retrieves a whole file (RETR) into memory. Ends with onRetrieve or onRetrieveFailed. The name is sent unchanged;
  /// otherwise as getNlst.
  Result getFile(const std::string& name, bool usePassive);
  /// Logs out (QUIT). Every later command is refused. onDisconnected follows when the connection has ended.
  Result sendLogout();

  /// Statistics of the session's connections so far, control and data. Any thread may call it at any time; it never
  /// waits.
  ConnectionStatistics statistics() const;

  /// @name Events from the interpreter and the data connector, on the session's worker. Not for hosts.
  /// @{
  void onControlUp();                                 ///< the login succeeded
  void onControlDown();                               ///< the control connection ended
  void onError();                                     ///< no data connection; replyText says why
  void onPwd(bool ok, const std::string& text);       ///< the reply to PWD
  void onCwd(bool ok, const std::string& text);       ///< the reply to CWD
  void onCdup(bool ok, const std::string& text);      ///< the reply to CDUP
  void onNlst(bool ok, const std::string& text);      ///< the final reply to NLST
  void onRetrieve(bool ok, const std::string& text);  ///< the final reply to RETR
  void onPort(bool ok, const std::string& text);      ///< the reply to PORT
  void onPassiveSuccess(const Address& server);       ///< PASV succeeded; the address to connect to
  void onPassiveFailure(const std::string& text);     ///< PASV failed, or its reply has no valid address
  void onDataUp();                                    ///< the data connection is established
  void onDataReceived(std::string* data);             ///< the received bytes; takes ownership
  void onDataDown();                                  ///< the data connection ended

  /// @}

 private:
  friend class ProtocolInterpreter;
  friend class DataConnector;

  class Operation;

  Result perform(const std::function<void()>& act);
  Result begin(const std::function<void()>& act);
  Result refuseBusy() const;
  void prepareCommand(cmd_e cmd);
  void send(pending_e awaited, const std::string& text);
  void startDataConnection(bool usePassive);
  void announceListener();
  void processDataConnection();
  std::string limitText() const;
  void processNlst();
  void processRetrieve();

  ProtocolInterpreter interpreter;  // constructed first, with a reference to the unfinished controller
  FTPclient* client;
  Transport* transport;  // owned
  connection_data_t connection;
  DataConnector* dataConnector;  // owned; retired through the transport
  in_addr localAddr;
  bool passive;  // passive, replyOk and replyReceived: set by each transfer before they are read
  cmd_e command;
  bool replyOk;
  std::string replyText;
  bool replyReceived;
  std::string* received;  // owned until passed to the client
  std::string fileName;
  bool cutByLimit;               // the first-byte limit ended a data connection of this transfer
  unsigned operations;           // operations on the stack, nested in failure callbacks
  unsigned long failureReports;  // number of calls to onError
};

/// The stock client. Logs each outcome, sends PWD after the login, lists after every successful PWD and CWD, and logs
/// out when CWD or CDUP fails.
class TOVIK_API FileRetriever : public FTPclient {
 public:
  /// usePassive: the mode of its listings.
  explicit FileRetriever(bool usePassive) : passive(usePassive) {}

  /// Borrows the controller. Must be called before Controller::start.
  void setController(Controller* driven) { controller = driven; }

  void onConnected() override { static_cast<void>(controller->getPwd()); }
  void onDisconnected() override {}
  void onPwd(const std::string& directory) override {
    QK_LOG(qk::logging::LogLevel::Trace) << "Tovik: Current Directory: " << directory;
    static_cast<void>(controller->getNlst(passive));
  }
  void onPwdFailed(const std::string& text) override {
    QK_LOG(qk::logging::LogLevel::Warning) << "Tovik: Current Directory failed: " << text;
  }
  void onCwd(const std::string& text) override {
    QK_LOG(qk::logging::LogLevel::Trace) << "Tovik: Change Directory: " << text;
    static_cast<void>(controller->getNlst(passive));
  }
  void onCwdFailed(const std::string& text) override {
    QK_LOG(qk::logging::LogLevel::Warning) << "Tovik: Change Directory failed: " << text;
    static_cast<void>(controller->sendLogout());
  }
  void onCdup(const std::string& text) override {
    QK_LOG(qk::logging::LogLevel::Trace) << "Tovik: Change to Parent Directory: " << text;
  }
  void onCdupFailed(const std::string& text) override {
    QK_LOG(qk::logging::LogLevel::Warning) << "Tovik: Change to Parent Directory failed: " << text;
    static_cast<void>(controller->sendLogout());
  }
  void onNlst(const std::vector<std::string>& names, const std::string& text) override {
    QK_LOG(qk::logging::LogLevel::Trace) << "Tovik: Directory Listing: " << text;
    for (const auto& name : names) QK_LOG(qk::logging::LogLevel::Trace) << "Tovik: Directory Entry: " << name;
  }
  void onNlstFailed(const std::string& text) override {
    QK_LOG(qk::logging::LogLevel::Warning) << "Tovik: Directory Listing failed: " << text;
  }
  void onRetrieve(const std::string& fileName, const std::string& text, std::string* content) override {
    const std::unique_ptr<std::string> owned(content);
    QK_LOG(qk::logging::LogLevel::Trace) << "Tovik: Retrieve " << fileName << ": " << text;
  }
  void onRetrieveFailed(const std::string& fileName, const std::string& text) override {
    QK_LOG(qk::logging::LogLevel::Warning) << "Tovik: Retrieve " << fileName << " failed: " << text;
  }

 protected:
  Controller* controller = nullptr;  ///< borrowed
  bool passive;                      ///< true for PASV, false for PORT
};

}  // namespace tovik::ftp
