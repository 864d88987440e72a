#include "visitor.h"

#include <memory>
#include <stdexcept>
#include <utility>

namespace soak {

namespace {

/// On the server's own interface, which active mode announces.
tovik::ftp::connection_data_t connectionTo(const tovik::Address& server) {
  tovik::Address local = server;
  local.set_port(0);
  return {server, local, "anonymous", "soak", ""};
}

}  // namespace

Visitor::Visitor(const tovik::Address& server, const std::string& dispatcher)
    : controller_(connectionTo(server), this, dispatcher, 0, nullptr) {}

Visitor::~Visitor() = default;

void Visitor::logIn() {
  if (const tovik::Result started = controller_.start(); !started) throw std::runtime_error(started.message);
  await("the login", [](const Progress& progress) { return progress.connected; });
}

void Visitor::askForDirectory(std::function<void()> inside) {
  inside_ = std::move(inside);
  const long before = progress_.get().directories;
  if (const tovik::Result asked = controller_.getPwd(); !asked) throw std::runtime_error(asked.message);
  await("the directory", [&](const Progress& progress) { return progress.directories > before; });
}

void Visitor::retrieve(const std::string& name, const std::string& content, long times, bool passive) {
  name_ = name;
  content_ = content;
  passive_ = passive;
  left_ = times;
  next();
  // One wait for each file, so that the deadline is for one file, too.
  for (long done = progress_.get().files; done < times; done = progress_.get().files)
    await("a file", [&](const Progress& progress) { return progress.files > done; });
  progress_.change([](Progress& progress) { progress.files = 0; });
}

void Visitor::logOut() {
  if (const tovik::Result asked = controller_.sendLogout(); !asked) throw std::runtime_error(asked.message);
  await("the end", [](const Progress& progress) { return progress.disconnected; });
}

template <class Condition>
void Visitor::await(const char* what, Condition&& condition) {
  const bool came =
      progress_.waitUntil([&](const Progress& progress) { return !progress.failure.empty() || condition(progress); });
  const std::string failure = progress_.get().failure;
  if (!failure.empty()) throw std::runtime_error(failure);
  if (!came) throw std::runtime_error(what + std::string(" did not come"));
}

void Visitor::fail(const std::string& what) {
  progress_.change([&](Progress& progress) { progress.failure = what; });
}

void Visitor::next() {
  if (const tovik::Result asked = controller_.getFile(name_, passive_); !asked) fail(asked.message);
}

void Visitor::onConnected() {
  progress_.change([](Progress& progress) { progress.connected = true; });
}

void Visitor::onDisconnected() {
  progress_.change([](Progress& progress) { progress.disconnected = true; });
}

void Visitor::onPwd(const std::string& /*directory*/) {
  inside_();
  progress_.change([](Progress& progress) { ++progress.directories; });
}

void Visitor::onRetrieve(const std::string& fileName, const std::string& /*text*/, std::string* content) {
  const std::unique_ptr<const std::string> owned(content);
  if (*owned != content_) return fail(fileName + " did not arrive as it is");
  const bool more = --left_ > 0;
  progress_.change([](Progress& progress) { ++progress.files; });
  if (more) next();
}

void Visitor::onOther(const char* callback, const std::string& text) { fail(callback + (": " + text)); }

}  // namespace soak
