#include "tovik/dispatch_generator.h"

#include <algorithm>

namespace tovik {

Result DispatchGenerator::start(unsigned workerCount) {
  if (workerCount == 0) return failure("dispatcher " + name_ + ": no workers asked for");
  for (unsigned i = 0; i < workerCount; ++i) {
    places_.push_back({std::make_shared<WorkerThread>(name_ + " " + std::to_string(i))});
    if (Result result = places_.back().worker->start(); !result) return result;
  }
  return Success;
}

std::shared_ptr<WorkerThread> DispatchGenerator::acquire() {
  const std::lock_guard lock(mutex_);
  const auto fewest = std::min_element(places_.begin(), places_.end(),
                                       [](const Place& a, const Place& b) { return a.transports < b.transports; });
  ++fewest->transports;
  ++transports_;
  return fewest->worker;
}

void DispatchGenerator::release(const WorkerThread& worker) {
  const std::lock_guard lock(mutex_);
  const auto place =
      std::find_if(places_.begin(), places_.end(), [&](const Place& p) { return p.worker.get() == &worker; });
  --place->transports;
  if (--transports_ == 0 && retired_) stopWorkers();
}

std::vector<WorkerStatistics> DispatchGenerator::statistics() const {
  std::vector<WorkerStatistics> each;
  each.reserve(places_.size());
  for (const Place& place : places_) each.push_back(place.worker->statistics());
  return each;
}

void DispatchGenerator::retire() {
  const std::lock_guard lock(mutex_);
  retired_ = true;
  if (transports_ == 0) stopWorkers();
}

bool DispatchGenerator::isUsed() const {
  const std::lock_guard lock(mutex_);
  return transports_ > 0;
}

bool DispatchGenerator::join() {
  return std::all_of(places_.begin(), places_.end(), [](const Place& place) { return place.worker->join(-1); });
}

void DispatchGenerator::stopWorkers() {
  for (Place& place : places_) place.worker->stop();
}

}  // namespace tovik
