#include "own/session_pool.h"

namespace bench::own {

void SessionPool::startFirst() {
  for (unsigned long i = 0; i < job_.maxLogins; ++i) startNext();
}

void SessionPool::startNext() {
  const auto number = started_++;
  if (number >= sessions_.size()) return;
  sessions_[number] = std::make_unique<BenchSession>(job_, owner_, number);
  sessions_[number]->start();
}

void SessionPool::retrieveInAll() {
  for (const auto& session : sessions_) session->retrieve();
}

void SessionPool::logOutAll() {
  for (const auto& session : sessions_) session->logOut();
}

}  // namespace bench::own
