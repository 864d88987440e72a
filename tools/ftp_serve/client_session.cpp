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

// Commands that a client may send ahead while a transfer runs.
constexpr std::size_t mostWaiting = 64;

std::string quoted(const std::string& path) {
  std::string text = "\"";
  for (const char character : path) text.append(character == '"' ? 2 : 1, character);
  return text + '"';
}

}  // namespace

struct Session::Verb {
  std::string_view name;
  bool needsLogin;
  void (Session::*run)(const std::string& argument);
};

const Session::Verb* Session::find(const std::string& verb) {
  static constexpr std::array<Verb, 13> verbs{{
      {"USER", false, &Session::user},
      {"PASS", false, &Session::password},
      {"ACCT", false, &Session::account},
      {"NOOP", false, &Session::doNothing},
      {"QUIT", false, &Session::quit},
      {"TYPE", true, &Session::type},
      {"PWD", true, &Session::printDirectory},
      {"CWD", true, &Session::changeDirectory},
      {"CDUP", true, &Session::changeToParent},
      {"NLST", true, &Session::list},
      {"RETR", true, &Session::retrieve},
      {"PORT", true, &Session::port},
      {"PASV", true, &Session::passive},
  }};
  const auto* const found = std::find_if(verbs.begin(), verbs.end(), [&](const Verb& v) { return v.name == verb; });
  return found == verbs.end() ? nullptr : found;
}

Session::Session(const Service& service, tovik::Transport& transport, Keeper& keeper)
    : service_(service), transport_(transport), keeper_(keeper) {}

Session::~Session() { dropDataLink(); }

void Session::onConduitActive(tovik::Conduit* conduit) {
  peer_ = conduit->remoteAddress();
  local_ = conduit->localAddress();
}

bool Session::getDataAggregator(tovik::Channel* channel, tovik::DataAggregator*& aggregator) {
  aggregator = new tovik::BufferedAggregator(channel, this, this);
  return true;
}

void Session::onChannelUp(tovik::Channel* channel) {
  channel_ = channel;
  reply(220, "Ready");
}

void Session::onChannelDown(tovik::Channel* /*channel*/, int /*direction*/) { dropDataLink(); }

void Session::onConduitInactive(tovik::Conduit* /*conduit*/) { keeper_.onSessionEnded(*this); }

void Session::onData(tovik::Channel* /*channel*/, const char* data, unsigned long size,
                     tovik::Multicast* /*multicast*/) {
  Command command = parseCommand({data, size});
  QK_LOG(qk::logging::LogLevel::Trace) << "ftp_serve: " << peer_ << " > " << command.verb << ' '
                                       << (command.verb == "PASS" ? "****" : command.argument);
  if (!transfer_) return run(command);
  if (waiting_.size() == mostWaiting) {
    reply(421, "Too many commands at once");
    return channel_->bringDown();
  }
  waiting_.push_back(std::move(command));
}

void Session::run(const Command& command) {
  const Verb* const verb = find(command.verb);
  if (verb == nullptr) return reply(502, "Command not implemented");
  if (verb->needsLogin && !loggedIn_) return reply(530, "Log in with USER and PASS");
  (this->*verb->run)(command.argument);
}

void Session::reply(int code, std::string_view text) {
  const std::string line = std::to_string(code).append(" ").append(text);
  QK_LOG(qk::logging::LogLevel::Trace) << "ftp_serve: " << peer_ << " < " << line;
  const std::string sent = line + "\r\n";
  channel_->send(sent.data(), sent.size());
}

void Session::user(const std::string& name) {
  loggedIn_ = false;
  user_ = name;
  reply(331, "Password, please");
}

void Session::password(const std::string& word) {
  if (!user_) return reply(503, "USER first");
  loggedIn_ = service_.admits(*std::exchange(user_, std::nullopt), word);
  if (loggedIn_) return reply(230, "Logged in");
  reply(530, "User or password is wrong");
}

void Session::account(const std::string& /*name*/) {
  if (!loggedIn_) return reply(503, "USER and PASS first");
  reply(230, "No account is needed");
}

/// Files go out as they are, whatever the type: line ends are those of this system and of the network's own listings.
void Session::type(const std::string& code) {
  static constexpr std::array<std::string_view, 5> known{"A", "A N", "I", "L 8", "L8"};
  if (std::find(known.begin(), known.end(), upperCase(code)) == known.end())
    return reply(501, "Types are A, I and L 8");
  reply(200, "Type set");
}

void Session::printDirectory(const std::string& /*argument*/) {
  reply(257, quoted(directory_) + " is the current directory");
}

void Session::changeDirectory(const std::string& name) { enter(FileTree::resolve(directory_, name), 250); }

void Session::changeToParent(const std::string& /*argument*/) { enter(FileTree::resolve(directory_, ".."), 200); }

void Session::enter(const std::string& path, int code) {
  if (const tovik::Result found = service_.tree.checkDirectory(path); !found) return reply(550, found.message);
  directory_ = path;
  reply(code, "Directory changed");
}

void Session::list(const std::string& argument) {
  const std::string name = withoutOptions(argument);
  std::string listing;
  const std::string prefix = name.empty() || name.ends_with('/') ? name : name + "/";
  if (const tovik::Result listed = service_.tree.list(FileTree::resolve(directory_, name), prefix, listing); !listed) {
    dropDataLink();
    return reply(450, listed.message);
  }
  begin(std::move(listing));
}

void Session::retrieve(const std::string& name) {
  FileTree::File file;
  if (const tovik::Result opened = service_.tree.openFile(FileTree::resolve(directory_, name), file); !opened) {
    dropDataLink();
    return reply(550, opened.message);
  }
  begin(std::move(file));
}

/// Only to the client's own host: a server that connects wherever it is told attacks others for whoever asks.
void Session::port(const std::string& hostPort) {
  dropDataLink();
  const auto address = parseHostPort(hostPort);
  if (!address) return reply(501, "Not six numbers of a host and port");
  if (!isSameHost(*address, peer_)) return reply(500, "Only to your own address");
  portAddress_ = address;
  reply(200, "Address noted");
}

void Session::passive(const std::string& /*argument*/) {
  dropDataLink();
  tovik::Address address = local_;
  address.set_port(0);
  dataLink_ = new DataLink(transport_, *this, peer_);
  if (const tovik::Result listening = dataLink_->listen(address); !listening) {
    dropDataLink();
    return reply(425, listening.message);
  }
  reply(227, "Entering passive mode (" + printHostPort(address) + ")");
}

void Session::doNothing(const std::string& /*argument*/) { reply(200, "Done"); }

void Session::quit(const std::string& /*argument*/) {
  reply(221, "Goodbye");
  channel_->bringDownWhenSent();
}

void Session::begin(Transfer transfer) {
  if (dataLink_ == nullptr && !portAddress_) return reply(425, "PASV or PORT first");
  transfer_ = std::move(transfer);
  if (dataLink_ != nullptr) {
    // In passive mode the client may be quicker with its command than its connection is through the listener.
    if (dataLink_->isUp()) sendTransfer();
    return;
  }
  tovik::Address local = local_;
  local.set_port(0);
  dataLink_ = new DataLink(transport_, *this, peer_);
  const tovik::Result connecting = dataLink_->connect(*std::exchange(portAddress_, std::nullopt), local);
  if (!connecting) endTransfer(425, connecting.message);
}

void Session::onDataUp() {
  if (transfer_) sendTransfer();
}

void Session::sendTransfer() {
  reply(150, "Here it comes");
  std::visit([this](auto& what) { dataLink_->sendAll(std::move(what)); }, *transfer_);
}

void Session::onDataDown(bool whole) {
  if (!transfer_) return dropDataLink();
  if (whole) return endTransfer(226, "All sent");
  endTransfer(426, "The data connection broke");
}

void Session::onDataFailed() { endTransfer(425, "No data connection"); }

void Session::endTransfer(int code, std::string_view text) {
  dropDataLink();
  transfer_.reset();
  reply(code, text);
  while (!transfer_ && !waiting_.empty()) {
    const Command command = std::move(waiting_.front());
    waiting_.pop_front();
    run(command);
  }
}

void Session::dropDataLink() {
  portAddress_.reset();
  transport_.retire(std::exchange(dataLink_, nullptr));
}

}  // namespace ftp_serve
