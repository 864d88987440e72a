#include "tovik/dispatch_generator.h"

#include <algorithm>

namespace tovik {

Result DispatchGenerator::start(unsigned workerCount, Clock& clock) {
  if (workerCount == 0) return failure("dispatcher " + name_ + ": no workers asked for");
  for (unsigned i = 0; i < workerCount; ++i) {
    workers_.push_back(std::make_shared<WorkerThread>(name_ + " " + std::to_string(i), clock));
    if (Result result = workers_.back()->start(); !result) return result;
  }
  const qk::MutexLock lock(mutex_);
  transportsOf_.resize(workerCount);
  return Success;
}

std::shared_ptr<WorkerThread> DispatchGenerator::acquire() {
  const qk::MutexLock lock(mutex_);
  const auto fewest = std::min_element(transportsOf_.begin(), transportsOf_.end());
  ++*fewest;
  ++transports_;
  return workers_[static_cast<unsigned long>(fewest - transportsOf_.begin())];
}

void DispatchGenerator::release(const WorkerThread& worker) {
  const qk::MutexLock lock(mutex_);
  const auto found =
      std::find_if(workers_.begin(), workers_.end(), [&](const auto& each) { return each.get() == &worker; });
  --transportsOf_[static_cast<unsigned long>(found - workers_.begin())];
  if (--transports_ == 0 && retired_) stopWorkers();
}

std::vector<WorkerStatistics> DispatchGenerator::statistics() const {
  std::vector<WorkerStatistics> each;
  each.reserve(workers_.size());
  for (const auto& worker : workers_) each.push_back(worker->statistics());
  return each;
}

void DispatchGenerator::retire() {
  const qk::MutexLock lock(mutex_);
  retired_ = true;
  if (transports_ == 0) stopWorkers();
}

bool DispatchGenerator::isUsed() const {
  const qk::MutexLock lock(mutex_);
  return transports_ > 0;
}

bool DispatchGenerator::join() {
  return std::all_of(workers_.begin(), workers_.end(), [](const auto& worker) { return worker->join(-1); });
}

void DispatchGenerator::stopWorkers() {
  for (const auto& worker : workers_) worker->stop();
}

}  // namespace tovik
