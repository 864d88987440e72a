#include "ftp_fetch/fetch_session.h"

#include <algorithm>
#include <deque>
#include <iterator>
#include <memory>
#include <utility>

#include "ftp_fetch/safe_name.h"

namespace ftp_fetch {

Session::Session(const tovik::ftp::connection_data_t& connection, const std::string& dispatcher, int firstByteLimit_s,
                 const Surroundings& surroundings)
    : job_(surroundings.job),
      part_(surroundings.part),
      writer_(surroundings.writer),
      conversation_(surroundings.conversation),
      report_(surroundings.report),
      controller_(connection, this, dispatcher, firstByteLimit_s, &surroundings.traffic) {}

void Session::onConnected() {
  if (job_.directory.empty()) return work();
  conversation_.begin("CWD " + job_.directory);
  static_cast<void>(controller_.changeCwd(job_.directory));
}

void Session::onDisconnected() { conversation_.end(); }

void Session::onCwd(const std::string& /*text*/) { work(); }

void Session::onCwdFailed(const std::string& text) { giveUp("CWD " + job_.directory + ": " + text); }

void Session::work() {
  if (job_.names.areKnown()) {
    job_.names.open();
    return fetchNext();
  }
  conversation_.begin("NLST");
  static_cast<void>(controller_.getNlst(job_.passive));
}

void Session::onNlst(const std::vector<std::string>& names, const std::string& /*text*/) {
  std::deque<std::string> files;
  std::copy_if(names.begin(), names.end(), std::back_inserter(files),
               [](const std::string& name) { return !isSelfOrParent(name); });
  if (job_.listOnly) {
    for (const auto& name : files) report_.name(name);
    return leave();
  }
  report_.expect(files);
  job_.names.give(std::move(files));
  job_.names.open();
  fetchNext();
}

void Session::onNlstFailed(const std::string& text) { giveUp("NLST: " + text); }

/// A command that can't be begun is reported from inside its call, and the next file tried from inside that report:
/// flattened here, or a long row of failures would nest as deep.
void Session::fetchNext() {
  tryAgain_ = true;
  if (std::exchange(trying_, true)) return;
  while (std::exchange(tryAgain_, false)) tryNext();
  trying_ = false;
}

void Session::tryNext() {
  const auto taken = job_.names.take();
  if (!taken) return leave();
  const std::string& name = *taken;
  if (const char* const reason = whyUnsafe(name)) {
    report_.failed(name, std::string("refused: ") + reason);
    return fetchNext();
  }
  part_.current = name;
  conversation_.begin("RETR " + name);
  static_cast<void>(controller_.getFile(name, job_.passive));
}

void Session::onRetrieve(const std::string& fileName, const std::string& /*text*/, std::string* content) {
  const std::unique_ptr<std::string> owned(content);
  const Seconds time = std::chrono::steady_clock::now() - conversation_.state().since;
  const std::string nothing;
  const std::string& bytes = owned == nullptr ? nothing : *owned;
  const DirectoryWriter::Stored stored = writer_.store(fileName, bytes);
  if (stored.directoryFailed) return giveUp(stored.result.message + "; stopped at " + fileName);
  if (stored.result)
    report_.fetched(fileName, bytes.size(), time);
  else
    report_.failed(fileName, stored.result.message);
  part_.current.reset();
  fetchNext();
}

void Session::onRetrieveFailed(const std::string& fileName, const std::string& text) {
  report_.failed(fileName, text);
  part_.current.reset();
  fetchNext();
}

/// For all sessions; the others need not say it again.
void Session::giveUp(const std::string& problem) {
  if (const auto left = job_.names.drop()) {
    report_.problem(problem);
    report_.notTried(*left);
  }
  report_.notTried(part_.current ? 1 : 0);
  part_.current.reset();
  leave();
}

void Session::leave() {
  part_.done = true;
  conversation_.beginLogout();
  static_cast<void>(controller_.sendLogout());
}

}  // namespace ftp_fetch
