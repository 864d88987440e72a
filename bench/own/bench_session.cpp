#include "own/bench_session.h"

#include "own/dispatcher.h"

namespace bench::own {
namespace {

tovik::ftp::connection_data_t connectionOf(const Job& job) {
  tovik::ftp::connection_data_t connection;
  connection.server.set_port(job.port);
  static_cast<void>(connection.server.set_host(job.host));
  // For PORT. Without it no connection is bound to an address, like the peers' own.
  if (job.active) static_cast<void>(connection.local.set_host(job.host));
  connection.user = job.user;
  connection.password = job.password;
  return connection;
}

}  // namespace

Session::Session(const Job& job, SessionOwner& owner, unsigned long number)
    : job_(job), owner_(owner), number_(number), controller_(connectionOf(job), this, Dispatcher::name, 0, nullptr) {}

void Session::leave() {
  leaving_ = true;
  content_.reset();
  require(controller_.sendLogout());
}

void Session::onDisconnected() {
  if (leaving_) return owner_.onLeft(*this);
  owner_.onFailed("a session ended before it was told to");
}

void Session::onRetrieve(const std::string& name, const std::string& /*text*/, std::string* content) {
  content_.reset(content);
  if (content == nullptr || content->size() != job_.size) return owner_.onFailed(name + " has another size");
  owner_.onFile(*this);
}

void Session::onRetrieveFailed(const std::string& name, const std::string& text) {
  owner_.onFailed(name + ": " + text);
}

void Session::require(const tovik::Result& result) {
  if (!result) owner_.onFailed(result.message);
}

}  // namespace bench::own
