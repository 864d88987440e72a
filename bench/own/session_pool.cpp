#include "own/session_pool.h"

namespace bench::own {

void SessionPool::beginFirst() {
  for (unsigned long i = 0; i < job_.atOnce; ++i) beginNext();
}

void SessionPool::beginNext() {
  const auto number = started_++;
  if (number >= sessions_.size()) return;
  sessions_[number] = std::make_unique<Session>(job_, owner_, number);
  sessions_[number]->start();
}

void SessionPool::retrieveInAll() {
  for (const auto& session : sessions_) session->retrieve();
}

void SessionPool::leaveAll() {
  for (const auto& session : sessions_) session->leave();
}

}  // namespace bench::own
