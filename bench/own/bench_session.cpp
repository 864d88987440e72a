#include "own/bench_session.h"

#include "own/dispatcher.h"

namespace bench::own {
namespace {

tovik::ftp::connection_data_t connectionOf(const Job& job) {
  tovik::ftp::connection_data_t connection;
  connection.server.set_port(job.port);
  static_cast<void>(connection.server.set_host(job.host));
  // Needed for PORT. In passive mode connections are not bound to an address, as with the peers.
  if (job.active) static_cast<void>(connection.local.set_host(job.host));
  connection.user = job.user;
  connection.password = job.password;
  return connection;
}

}  // namespace

BenchSession::BenchSession(const Job& job, SessionOwner& owner, unsigned long number)
    : job_(job), owner_(owner), number_(number), controller_(connectionOf(job), this, Dispatcher::name, 0, nullptr) {}

void BenchSession::logOut() {
  loggingOut_ = true;
  content_.reset();
  require(controller_.sendLogout());
}

void BenchSession::onDisconnected() {
  if (loggingOut_) return owner_.onLoggedOut(*this);
  owner_.onFailed("a session ended before it logged out");
}

void BenchSession::onRetrieve(const std::string& name, const std::string& /*text*/, std::string* content) {
  content_.reset(content);
  if (content == nullptr || content->size() != job_.size) return owner_.onFailed(name + " has the wrong size");
  owner_.onFile(*this);
}

void BenchSession::onRetrieveFailed(const std::string& name, const std::string& text) {
  owner_.onFailed(name + ": " + text);
}

void BenchSession::require(const tovik::Result& result) {
  if (!result) owner_.onFailed(result.message);
}

}  // namespace bench::own
