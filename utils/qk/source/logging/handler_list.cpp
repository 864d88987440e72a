#include "logging/handler_list.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "logging/standard_error.h"

namespace qk::logging {

/// Marks an entry as running on this thread while the mark exists.
class HandlerList::Running {
 public:
  explicit Running(const Entry& entry) : entry_(entry), outer_(innermost) { innermost = this; }
  ~Running() { innermost = outer_; }
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;

  static bool includes(const Entry& entry) {
    const Running* running = innermost;
    while (running != nullptr && &running->entry_ != &entry) running = running->outer_;
    return running != nullptr;
  }

 private:
  static constinit thread_local const Running* innermost;

  const Entry& entry_;
  const Running* const outer_;
};

constinit thread_local const HandlerList::Running* HandlerList::Running::innermost = nullptr;

std::shared_ptr<const HandlerList> HandlerList::with(HandlerId id, Handler handler) const {
  Entries entries = entries_;
  entries.push_back(std::make_shared<const Entry>(Entry{id, std::move(handler)}));
  return std::make_shared<const HandlerList>(HandlerList(std::move(entries)));
}

std::shared_ptr<const HandlerList> HandlerList::without(HandlerId id) const {
  Entries entries = entries_;
  if (std::erase_if(entries, [id](const auto& entry) { return entry->id == id; }) == 0) return nullptr;
  return std::make_shared<const HandlerList>(HandlerList(std::move(entries)));
}

bool HandlerList::deliver(const Record& record) const noexcept {
  bool called = false;
  for (const auto& entry : entries_) {
    if (!Running::includes(*entry)) {
      call(*entry, record);
      called = true;
    }
  }
  return called;
}

void HandlerList::call(const Entry& entry, const Record& record) noexcept {
  const Running running(entry);
  try {
    entry.handler(record);
  } catch (const std::exception& error) {
    complainOnStandardError("a handler threw: ", error.what());
  } catch (...) {
    complainOnStandardError("a handler threw");
  }
}

}  // namespace qk::logging
