#pragma once

/// An asynchronous FTP client (RFC 959): one Controller a session, one FTPclient that is told of every outcome.
///
/// Threads:   a session's events and all its FTPclient callbacks come on one worker thread of the framework, one after
///            another. Any thread may call any operation of the Controller at any moment, also from inside a callback.
/// Callbacks: anything is allowed inside one: the next command, stop, destroying the Controller itself.

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

/// FTP sessions: a Controller for each, and the FTPclient that it tells.
namespace tovik::ftp {

class Controller;
class DataConnection;

/// A reply code (RFC 959, 4.2), digit by digit.
struct TOVIK_API code_t {
  std::int16_t first = 0;   ///< 1 to 5 when parsed
  std::int16_t second = 0;  ///< 0 to 5 when parsed
  std::int16_t third = 0;   ///< 0 to 9 when parsed

  /// Digit by digit.
  friend bool operator==(const code_t&, const code_t&) = default;
};

/// Prints the three digits, such as 530.
TOVIK_API std::ostream& operator<<(std::ostream& out, const code_t& code);

/// Where and as whom to log in. Texts are sent as they stand: a line end in one would be two commands.
struct TOVIK_API connection_data_t {
  Address server;        ///< the control connection's remote end
  Address local;         ///< the local interface; its host is announced for active-mode data connections
  std::string user;      ///< for USER
  std::string password;  ///< for PASS, when the server asks; stands in clear in the log at level 0
  std::string account;   ///< for ACCT, when the server asks
};

/// What a host implements to be told of a session's outcomes.
///
/// Threads:   every operation is called on the session's worker thread, some of them while another thread waits there
///            for an operation of the Controller: onNlstFailed and onRetrieveFailed inside getNlst and getFile, when
///            the data connection can't be set up, and onDisconnected inside stop and the destructor.
/// Ownership: arguments are valid during the call only, except the content of onRetrieve, which the client owns.
/// Callbacks: those that end a command come when the controller is idle again, so the next one may start inside them.
/// Errors:    an exception that leaves a callback is logged at level 30 and ends the session's connections;
///            onDisconnected follows. From inside getNlst and getFile it reaches their caller instead.
class TOVIK_API FTPclient {
 public:
  virtual ~FTPclient() = default;

  /// The login has succeeded. A login that the server refuses is not reported.
  virtual void onConnected() = 0;
  /// The control connection has ended, or could not be made. A command in progress stays so.
  virtual void onDisconnected() = 0;
  /// PWD has told the current directory: the name, without its quotes.
  virtual void onPwd(const std::string& directory) = 0;
  /// The server has refused PWD, or its answer holds no name. text: the first line of the reply, here and below.
  virtual void onPwdFailed(const std::string& text) = 0;
  /// The current directory has changed.
  virtual void onCwd(const std::string& text) = 0;
  /// The current directory is what it was.
  virtual void onCwdFailed(const std::string& text) = 0;
  /// The current directory is its parent now.
  virtual void onCdup(const std::string& text) = 0;
  /// The current directory is what it was.
  virtual void onCdupFailed(const std::string& text) = 0;
  /// The names in the current directory, in the server's order and spelling.
  virtual void onNlst(const std::vector<std::string>& names, const std::string& text) = 0;
  /// There is no listing, or not all of it. text may also be the reason why there is no data connection.
  virtual void onNlstFailed(const std::string& text) = 0;
  /// content: all that the data connection delivered, byte for byte; the client deletes it. May be null.
  virtual void onRetrieve(const std::string& fileName, const std::string& text, std::string* content) = 0;
  /// There is no file, or not all of it. text may also be the reason why there is no data connection.
  virtual void onRetrieveFailed(const std::string& fileName, const std::string& text) = 0;
};

/// Which command's reply the interpreter awaits. 0 to 3 belong to the login, the rest to the session after it.
enum class pending_e : std::int32_t { none, user, password, account, port, passive, pwd, cwd, cdup, nlst, retr, quit };

/// The consumer of the control connection: cuts and reads the server's replies, logs in by itself, interprets each
/// reply against the command that awaits it, and writes commands. Part of a Controller, which it tells the outcomes.
///
/// Threads: the session's worker.
class TOVIK_API ProtocolInterpreter : public Consumer, public TelnetPacketizer, public CharHandler {
 public:
  /// Keeps the reference, and uses it in events only.
  explicit ProtocolInterpreter(Controller& owner);
  ~ProtocolInterpreter() override;

  bool getDataAggregator(Channel* up, DataAggregator*& aggregator) override;
  void onNewConduit(Conduit* conduit) override;
  void onConduitInactive(Conduit* conduit) override;
  void onChannelUp(Channel* up) override;
  void onChannelDown(Channel* down, int direction) override;

  /// Takes one line of the control connection.
  void onData(Channel* from, const char* data, unsigned long size, Multicast* multicast) override;

  /// Writes one command line; the line end is added here. Nothing is checked, and without a connection nothing sent.
  void sendCommand(const std::string& text) {
    QK_LOG(qk::logging::LogLevel::Trace) << "Tovik: [FTP] " << text;
    const SendDestination destination(channel);
    sockbuf buffer(destination, nullptr);
    std::ostream(&buffer) << text << "\r\n";
  }

  /// Reads the reply code at the head of a line (RFC 959, 4.2). A minus sign after it sets continued, anything else
  /// leaves continued as it was. rest: what follows, trimmed. False when the line begins with no valid code.
  static bool parseReturnCode(const std::string& line, code_t& code, bool& continued, std::string& rest);

  /// Acts on one complete reply: a command, an event of the controller, the end of the connection, or a log line.
  void onInput(const code_t& code, const std::vector<std::string>& lines);

  /// Address to host-port text, as in the argument of PORT (RFC 959, 4.1.2): h1,h2,h3,h4,p1,p2.
  static Result convertAddr(const Address& address, std::string& text);
  /// Host-port text to address. Runs of commas count as one; the port's numbers are not checked for their range.
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

  std::int32_t replyState = 0;    // 0: the next line begins a reply; 1: inside a multi-line reply
  code_t replyCode;               // of the multi-line reply in progress
  Lines replyLines;               // texts of the reply being gathered, or of the last one
  std::int32_t sessionState = 0;  // 0: not logged in; 1: logged in
  pending_e pending = pending_e::none;
  Controller& controller;
  Channel* channel = nullptr;  // the last one that came up
};

/// The consumer of one transfer's data connections: makes one by listening (active mode) or by connecting (passive
/// mode), gathers what arrives, and hands it to the controller when the channel goes down.
///
/// Ownership: the controller's; given back with Transport::retire.
class TOVIK_API DataConnector : public Consumer, public ConsumerGenerator, public CharHandler {
 public:
  /// Keeps the reference, which has to be good in events and in both inits.
  explicit DataConnector(Controller& owner);
  ~DataConnector() override;

  /// Listens; on success address becomes what it listens on. A listener of an earlier call is replaced.
  Result initActive(Address& address);
  /// Begins to connect from a local address to the server's data address.
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
  std::string* received = nullptr;   // owned; null until the first byte, and again once handed over
};

/// The listener of an active-mode data connection; whoever connects is served by its connector.
class TOVIK_API DataConnection : public Server {
 public:
  /// Does not listen yet.
  DataConnection(DataConnector& connector, Transport& transport);
  ~DataConnection() override;
};

/// One FTP session: takes one command at a time and tells the client each outcome.
///
/// Threads:   any thread may call any operation at any moment, except that only one destroys it, and none afterwards.
///            Each operation does its work on the session's worker, between two callbacks, and returns when it is
///            done: what a command logs and sends has been logged and sent. So an operation waits for the callback
///            that is running, and must not be called with a lock held that a callback takes; this holds for stop and
///            the destructor, too. statistics waits for nothing. Inside a callback nothing waits. A log handler must
///            not destroy the session that logs.
/// Ownership: borrows the client and the thread callbacks, which outlive it. A file that is still held when the
///            controller is destroyed, because a failed transfer left it or its end is outstanding, is not freed.
/// Errors:    operations return a Result; one that finds another command in progress fails with that command's name
///            and " still active", and changes nothing. A command whose reply never comes keeps the controller busy;
///            there is no time-out. "out of memory" means that nothing was started. Once the destructor has begun,
///            start and every command fail.
class TOVIK_API Controller {
 public:
  /// The command in progress. The numbers stand in the log.
  enum class cmd_e : int { none, pwd, cwd, cdup, nlst, retr, quit };

  /// dispatcherName: where the session runs; when there is no such dispatcher, number 0 serves. transportSetting:
  /// Traits::first_byte_limit_s of the session's transport; 0 sets no limit. callbacks may be null. Throws Exception
  /// "ftp control: no dispatcher" when there is none at all, and std::bad_alloc.
  Controller(const connection_data_t& connectionData, FTPclient* ftpClient, const std::string& dispatcherName,
             int transportSetting, ThreadCallbacks* callbacks);
  Controller(const Controller&) = delete;
  Controller& operator=(const Controller&) = delete;
  /// Stops, so onDisconnected may come from inside; it cannot start anything anew. May be called from inside a
  /// callback.
  ~Controller();

  /// Begins to connect; the login follows by itself, and onConnected or onDisconnected tells its end.
  Result start();
  /// Ends every connection of the session; onDisconnected has come when it returns.
  Result stop();

  /// Asks for the current directory: onPwd or onPwdFailed.
  Result getPwd();
  /// Changes the current directory: onCwd or onCwdFailed. The name is sent as it stands.
  Result changeCwd(const std::string& directory);
  /// Changes to the parent directory: onCdup or onCdupFailed.
  Result cdUp();
  /// Lists the current directory. usePassive: PASV, else PORT. Success even when the data connection can't be set up:
  /// the failure has then been reported to the client from inside the call. A client that tries again inside that
  /// callback, and inside the one that comes of it, gets a failed Result after 32 of them, and no further callback.
  Result getNlst(bool usePassive);
  /// Retrieves a file whole; the rest as for getNlst. The name is sent as it stands.
  Result getFile(const std::string& name, bool usePassive);
  /// Sends QUIT. No command is taken afterwards.
  Result sendLogout();

  /// Of the session's connections so far, the control connection and those of its transfers. By any thread, at any
  /// moment; waits for nothing.
  ConnectionStatistics statistics() const;

  /// @name Events of the interpreter and of the data connector, on the session's worker. Not for hosts.
  /// @{
  void onControlUp();                                 ///< the login has succeeded
  void onControlDown();                               ///< the control connection is over
  void onError();                                     ///< no data connection: replyText tells why
  void onPwd(bool ok, const std::string& text);       ///< the reply to PWD
  void onCwd(bool ok, const std::string& text);       ///< the reply to CWD
  void onCdup(bool ok, const std::string& text);      ///< the reply to CDUP
  void onNlst(bool ok, const std::string& text);      ///< the last reply to NLST
  void onRetrieve(bool ok, const std::string& text);  ///< the last reply to RETR
  void onPort(bool ok, const std::string& text);      ///< the reply to PORT
  void onPassiveSuccess(const Address& server);       ///< PASV has told where to connect
  void onPassiveFailure(const std::string& text);     ///< PASV was refused, or told nothing of use
  void onDataUp();                                    ///< there is a data connection
  void onDataReceived(std::string* data);             ///< all that it delivered; owned from now on
  void onDataDown();                                  ///< it is over

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

  ProtocolInterpreter interpreter;  // first: it is given the controller before anything else exists
  FTPclient* client;
  Transport* transport;  // owned
  connection_data_t connection;
  DataConnector* dataConnector;  // owned, through the transport
  in_addr localAddr;
  bool passive;  // this, replyOk and replyReceived are set by each transfer before they are read
  cmd_e command;
  bool replyOk;
  std::string replyText;
  bool replyReceived;
  std::string* received;  // owned until handed to the client
  std::string fileName;
  bool cutByLimit;               // the first-byte limit has ended a data connection of this transfer
  unsigned operations;           // on the stack, one inside another's failure callback
  unsigned long failureReports;  // made by onError so far
};

/// The stock client: logs each outcome, asks for the directory once logged in, lists after every successful PWD and
/// CWD, and logs out when a change of directory fails. The host gives it its controller before start.
class TOVIK_API FileRetriever : public FTPclient {
 public:
  /// usePassive: for the listings that it asks for.
  explicit FileRetriever(bool usePassive) : passive(usePassive) {}

  /// Borrows it; before start.
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
  bool passive;                      ///< the mode of transfers
};

}  // namespace tovik::ftp
