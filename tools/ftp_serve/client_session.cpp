#include "ftp_serve/client_session.h"

#include <qk/logging/logging.h>
#include <tovik/channel.h>
#include <tovik/conduit.h>
#include <tovik/data_aggregator.h>
#include <tovik/transport.h>

#include <algorithm>
#include <array>
#include <utility>

#include "ftp_serve/host_port.h"

namespace ftp_serve {

namespace {

// The number of commands that a client may send while a transfer is in progress.
constexpr std::size_t maxQueuedCommands = 64;

std::string quoted(const std::string& path) {
  std::string text = "\"";
  for (const char character : path) text.append(character == '"' ? 2 : 1, character);
  return text + '"';
}

}  // namespace

struct ClientSession::Verb {
  std::string_view name;
  bool needsLogin;
  void (ClientSession::*run)(const std::string& argument);
};

const ClientSession::Verb* ClientSession::find(const std::string& verb) {
  static constexpr std::array<Verb, 13> verbs{{
      {"USER", false, &ClientSession::user},
      {"PASS", false, &ClientSession::password},
      {"ACCT", false, &ClientSession::account},
      {"NOOP", false, &ClientSession::noop},
      {"QUIT", false, &ClientSession::quit},
      {"TYPE", true, &ClientSession::type},
      {"PWD", true, &ClientSession::printDirectory},
      {"CWD", true, &ClientSession::changeDirectory},
      {"CDUP", true, &ClientSession::changeToParent},
      {"NLST", true, &ClientSession::list},
      {"RETR", true, &ClientSession::retrieve},
      {"PORT", true, &ClientSession::port},
      {"PASV", true, &ClientSession::passive},
  }};
  const auto* const found = std::find_if(verbs.begin(), verbs.end(), [&](const Verb& v) { return v.name == verb; });
  return found == verbs.end() ? nullptr : found;
}

ClientSession::ClientSession(const Service& service, tovik::Transport& transport, Owner& owner)
    : service_(service), transport_(transport), owner_(owner) {}

ClientSession::~ClientSession() { dropDataConnection(); }

void ClientSession::onConduitActive(tovik::Conduit* conduit) {
  peer_ = conduit->remoteAddress();
  local_ = conduit->localAddress();
}

bool ClientSession::getDataAggregator(tovik::Channel* channel, tovik::DataAggregator*& aggregator) {
  aggregator = new tovik::BufferedAggregator(channel, this, this);
  return true;
}

void ClientSession::onChannelUp(tovik::Channel* channel) {
  channel_ = channel;
  reply(220, "Ready");
}

void ClientSession::onChannelDown(tovik::Channel* /*channel*/, int /*direction*/) { dropDataConnection(); }

void ClientSession::onConduitInactive(tovik::Conduit* /*conduit*/) { owner_.onSessionEnded(*this); }

void ClientSession::onData(tovik::Channel* /*channel*/, const char* data, unsigned long size,
                           tovik::Multicast* /*multicast*/) {
  Command command = parseCommand({data, size});
  QK_LOG(qk::logging::LogLevel::Trace) << "ftp_serve: " << peer_ << " > " << command.verb << ' '
                                       << (command.verb == "PASS" ? "****" : command.argument);
  if (!transfer_) return run(command);
  if (queued_.size() == maxQueuedCommands) {
    reply(421, "Too many commands at once");
    return channel_->bringDown();
  }
  queued_.push_back(std::move(command));
}

void ClientSession::run(const Command& command) {
  const Verb* const verb = find(command.verb);
  if (verb == nullptr) return reply(502, "Command not implemented");
  if (verb->needsLogin && !loggedIn_) return reply(530, "Log in with USER and PASS");
  (this->*verb->run)(command.argument);
}

void ClientSession::reply(int code, std::string_view text) {
  const std::string line = std::to_string(code).append(" ").append(text);
  QK_LOG(qk::logging::LogLevel::Trace) << "ftp_serve: " << peer_ << " < " << line;
  const std::string sent = line + "\r\n";
  channel_->send(sent.data(), sent.size());
}

void ClientSession::user(const std::string& name) {
  loggedIn_ = false;
  user_ = name;
  reply(331, "Password required");
}

void ClientSession::password(const std::string& word) {
  if (!user_) return reply(503, "Send USER first");
  loggedIn_ = service_.admits(*std::exchange(user_, std::nullopt), word);
  if (loggedIn_) return reply(230, "Logged in");
  reply(530, "User or password is wrong");
}

void ClientSession::account(const std::string& /*name*/) {
  if (!loggedIn_) return reply(503, "Log in with USER and PASS first");
  reply(230, "No account is needed");
}

/// Files are sent unchanged, whatever the type; listings always have CR LF.
void ClientSession::type(const std::string& code) {
  static constexpr std::array<std::string_view, 5> known{"A", "A N", "I", "L 8", "L8"};
  if (std::find(known.begin(), known.end(), upperCase(code)) == known.end())
    return reply(501, "Unsupported type; use A, I or L 8");
  reply(200, "Type set");
}

void ClientSession::printDirectory(const std::string& /*argument*/) {
  reply(257, quoted(directory_) + " is the current directory");
}

void ClientSession::changeDirectory(const std::string& name) { enter(FileTree::resolve(directory_, name), 250); }

void ClientSession::changeToParent(const std::string& /*argument*/) { enter(FileTree::resolve(directory_, ".."), 200); }

void ClientSession::enter(const std::string& path, int code) {
  if (const tovik::Result found = service_.tree.checkDirectory(path); !found) return reply(550, found.message);
  directory_ = path;
  reply(code, "Directory changed");
}

void ClientSession::list(const std::string& argument) {
  const std::string name = withoutOptions(argument);
  std::string listing;
  const std::string prefix = name.empty() || name.ends_with('/') ? name : name + "/";
  if (const tovik::Result listed = service_.tree.list(FileTree::resolve(directory_, name), prefix, listing); !listed) {
    dropDataConnection();
    return reply(450, listed.message);
  }
  startTransfer(std::move(listing));
}

void ClientSession::retrieve(const std::string& name) {
  FileTree::File file;
  if (const tovik::Result opened = service_.tree.openFile(FileTree::resolve(directory_, name), file); !opened) {
    dropDataConnection();
    return reply(550, opened.message);
  }
  startTransfer(std::move(file));
}

/// Accepts only the client's own host: otherwise a client could make the server attack other hosts.
void ClientSession::port(const std::string& hostPort) {
  dropDataConnection();
  const auto address = parseHostPort(hostPort);
  if (!address) return reply(501, "Not a valid host and port");
  if (!isSameHost(*address, peer_)) return reply(500, "The address must be your own");
  portAddress_ = address;
  reply(200, "Address accepted");
}

void ClientSession::passive(const std::string& /*argument*/) {
  dropDataConnection();
  tovik::Address address = local_;
  address.set_port(0);
  dataConnection_ = new DataConnection(transport_, *this, peer_);
  if (const tovik::Result listening = dataConnection_->listen(address); !listening) {
    dropDataConnection();
    return reply(425, listening.message);
  }
  reply(227, "Entering passive mode (" + printHostPort(address) + ")");
}

void ClientSession::noop(const std::string& /*argument*/) { reply(200, "Done"); }

void ClientSession::quit(const std::string& /*argument*/) {
  reply(221, "Goodbye");
  channel_->bringDownWhenSent();
}

void ClientSession::startTransfer(Transfer transfer) {
  if (dataConnection_ == nullptr && !portAddress_) return reply(425, "Send PASV or PORT first");
  transfer_ = std::move(transfer);
  if (dataConnection_ != nullptr) {
    // In passive mode the command may arrive before the data connection has been accepted.
    if (dataConnection_->isUp()) sendTransfer();
    return;
  }
  tovik::Address local = local_;
  local.set_port(0);
  dataConnection_ = new DataConnection(transport_, *this, peer_);
  const tovik::Result connecting = dataConnection_->connect(*std::exchange(portAddress_, std::nullopt), local);
  if (!connecting) endTransfer(425, connecting.message);
}

void ClientSession::onDataUp() {
  if (transfer_) sendTransfer();
}

void ClientSession::sendTransfer() {
  reply(150, "Transfer starting");
  std::visit([this](auto& what) { dataConnection_->sendAll(std::move(what)); }, *transfer_);
}

void ClientSession::onDataDown(bool complete) {
  if (!transfer_) return dropDataConnection();
  if (complete) return endTransfer(226, "Transfer complete");
  endTransfer(426, "Data connection failed");
}

void ClientSession::onDataFailed() { endTransfer(425, "Can't open data connection"); }

void ClientSession::endTransfer(int code, std::string_view text) {
  dropDataConnection();
  transfer_.reset();
  reply(code, text);
  while (!transfer_ && !queued_.empty()) {
    const Command command = std::move(queued_.front());
    queued_.pop_front();
    run(command);
  }
}

void ClientSession::dropDataConnection() {
  portAddress_.reset();
  transport_.retire(std::exchange(dataConnection_, nullptr));
}

}  // namespace ftp_serve
