#include "ftp_fetch/fetch_session.h"

#include <algorithm>
#include <deque>
#include <iterator>
#include <memory>
#include <utility>

#include "ftp_fetch/safe_name.h"

namespace ftp_fetch {

FetchSession::FetchSession(const tovik::ftp::connection_data_t& connection, const std::string& dispatcher,
                           int firstByteLimit_s, const Context& context)
    : job_(context.job),
      progress_(context.progress),
      writer_(context.writer),
      conversation_(context.conversation),
      report_(context.report),
      controller_(connection, this, dispatcher, firstByteLimit_s, &context.traffic) {}

void FetchSession::onConnected() {
  if (job_.directory.empty()) return startWork();
  conversation_.begin("CWD " + job_.directory);
  static_cast<void>(controller_.changeCwd(job_.directory));
}

void FetchSession::onDisconnected() { conversation_.end(); }

void FetchSession::onCwd(const std::string& /*text*/) { startWork(); }

void FetchSession::onCwdFailed(const std::string& text) { abandonAll("CWD " + job_.directory + ": " + text); }

void FetchSession::startWork() {
  if (job_.names.areKnown()) {
    job_.names.open();
    return fetchNext();
  }
  conversation_.begin("NLST");
  static_cast<void>(controller_.getNlst(job_.passive));
}

void FetchSession::onNlst(const std::vector<std::string>& names, const std::string& /*text*/) {
  std::deque<std::string> files;
  std::copy_if(names.begin(), names.end(), std::back_inserter(files),
               [](const std::string& name) { return !isSelfOrParent(name); });
  if (job_.listOnly) {
    for (const auto& name : files) report_.name(name);
    return logOut();
  }
  report_.expect(files);
  job_.names.give(std::move(files));
  job_.names.open();
  fetchNext();
}

void FetchSession::onNlstFailed(const std::string& text) { abandonAll("NLST: " + text); }

/// If the listener for active mode can't be opened, getFile calls onRetrieveFailed before it returns, and that calls
/// fetchNext again. The loop avoids nesting one call for each failed file.
void FetchSession::fetchNext() {
  tryAgain_ = true;
  if (std::exchange(trying_, true)) return;
  while (std::exchange(tryAgain_, false)) tryNext();
  trying_ = false;
}

void FetchSession::tryNext() {
  const auto taken = job_.names.take();
  if (!taken) return logOut();
  const std::string& name = *taken;
  if (const char* const reason = whyUnsafe(name)) {
    report_.failed(name, std::string("refused: ") + reason);
    return fetchNext();
  }
  progress_.current = name;
  conversation_.begin("RETR " + name);
  static_cast<void>(controller_.getFile(name, job_.passive));
}

void FetchSession::onRetrieve(const std::string& fileName, const std::string& /*text*/, std::string* content) {
  const std::unique_ptr<std::string> owned(content);
  const Seconds time = std::chrono::steady_clock::now() - conversation_.state().since;
  const std::string nothing;
  const std::string& bytes = owned == nullptr ? nothing : *owned;
  const DirectoryWriter::Stored stored = writer_.store(fileName, bytes);
  if (stored.directoryFailed) return abandonAll(stored.result.message + "; stopped at " + fileName);
  if (stored.result)
    report_.fetched(fileName, bytes.size(), time);
  else
    report_.failed(fileName, stored.result.message);
  progress_.current.reset();
  fetchNext();
}

void FetchSession::onRetrieveFailed(const std::string& fileName, const std::string& text) {
  report_.failed(fileName, text);
  progress_.current.reset();
  fetchNext();
}

/// Ends the work of all sessions. Only the first caller prints the problem.
void FetchSession::abandonAll(const std::string& problem) {
  if (const auto left = job_.names.drop()) {
    report_.problem(problem);
    report_.notTried(*left);
  }
  report_.notTried(progress_.current ? 1 : 0);
  progress_.current.reset();
  logOut();
}

void FetchSession::logOut() {
  progress_.done = true;
  conversation_.beginLogout();
  static_cast<void>(controller_.sendLogout());
}

}  // namespace ftp_fetch
