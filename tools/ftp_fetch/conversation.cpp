#include "ftp_fetch/conversation.h"

#include <sys/eventfd.h>
#include <tovik/exception.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace ftp_fetch {

Conversation::Conversation() : changed_(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
  if (!changed_.isOpen()) throw tovik::Exception(std::string("eventfd: ") + std::strerror(errno));
}

void Conversation::beginLogin(const std::string& server) {
  const std::lock_guard lock(mutex_);
  const unsigned long number = state_.number;
  state_ = {};
  state_.number = number;
  beginLocked(Stage::login, "login at " + server);
}

void Conversation::begin(const std::string& command) {
  const std::lock_guard lock(mutex_);
  beginLocked(Stage::commands, command);
}

void Conversation::beginLogout() {
  const std::lock_guard lock(mutex_);
  beginLocked(Stage::logout, "logout");
}

void Conversation::beginLocked(Stage stage, const std::string& command) {
  ++state_.number;
  state_.command = command;
  state_.stage = stage;
  state_.since = std::chrono::steady_clock::now();
  state_.refusedAt.reset();
}

void Conversation::end() {
  const std::lock_guard lock(mutex_);
  state_.ended = true;
  wake();
}

void Conversation::note(const qk::logging::Record& record) {
  const auto reply = replyIn(record.text);
  auto command = commandIn(record.text);
  const std::lock_guard lock(mutex_);
  if (reply) noteReply(*reply);
  if (command) state_.sent = std::move(*command);
  if (record.level >= qk::logging::LogLevel::Warning) state_.lastWarning = record.text;
}

void Conversation::noteReply(const Reply& reply) {
  state_.lastReply = reply;
  if (reply.code < 400) return;
  state_.refusedAt = std::chrono::steady_clock::now();
  wake();
}

Conversation::State Conversation::state() const {
  const std::lock_guard lock(mutex_);
  return state_;
}

void Conversation::drain() {
  eventfd_t count = 0;
  static_cast<void>(::eventfd_read(changed_.number(), &count));
}

void Conversation::wake() { static_cast<void>(::eventfd_write(changed_.number(), 1)); }

}  // namespace ftp_fetch
