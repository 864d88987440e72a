#include "ftp_fetch/session.h"

#include <memory>
#include <utility>

#include "ftp_fetch/safe_name.h"

namespace ftp_fetch {

Session::Session(const tovik::ftp::connection_data_t& connection, const std::string& dispatcher, int firstByteLimit_s,
                 const Surroundings& surroundings)
    : job_(surroundings.job),
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
  if (job_.namesKnown) return fetchNext();
  conversation_.begin("NLST");
  static_cast<void>(controller_.getNlst(job_.passive));
}

void Session::onNlst(const std::vector<std::string>& names, const std::string& /*text*/) {
  for (const auto& name : names)
    if (!isSelfOrParent(name)) job_.names.push_back(name);
  job_.namesKnown = true;
  report_.expect(job_.names);
  if (!job_.listOnly) return fetchNext();
  for (const auto& name : job_.names) report_.name(name);
  leave();
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
  if (job_.names.empty()) return leave();
  const std::string name = std::move(job_.names.front());
  job_.names.pop_front();
  if (const char* const reason = whyUnsafe(name)) {
    report_.failed(name, std::string("refused: ") + reason);
    return fetchNext();
  }
  job_.current = name;
  conversation_.begin("RETR " + name);
  static_cast<void>(controller_.getFile(name, job_.passive));
}

void Session::onRetrieve(const std::string& fileName, const std::string& /*text*/, std::string* content) {
  const std::unique_ptr<std::string> owned(content);
  const Seconds time = std::chrono::steady_clock::now() - conversation_.state().since;
  const std::string nothing;
  const std::string& bytes = owned == nullptr ? nothing : *owned;
  const DirectoryWriter::Stored stored = store(fileName, bytes);
  if (stored.directoryFailed) return giveUp(stored.result.message + "; stopped at " + fileName);
  if (stored.result)
    report_.fetched(fileName, bytes.size(), time);
  else
    report_.failed(fileName, stored.result.message);
  job_.current.reset();
  fetchNext();
}

/// A server that is slower than the limit for a first byte may take the end of its data connection for the end of the
/// file, and say that all went well.
DirectoryWriter::Stored Session::store(const std::string& name, const std::string& content) {
  if (content.empty() && conversation_.state().cutShort)
    return {tovik::failure("nothing came within the limit for the first byte")};
  return writer_.store(name, content);
}

void Session::onRetrieveFailed(const std::string& fileName, const std::string& text) {
  report_.failed(fileName, text);
  job_.current.reset();
  fetchNext();
}

void Session::giveUp(const std::string& problem) {
  report_.problem(problem);
  report_.notTried(job_.names.size() + (job_.current ? 1 : 0));
  job_.names.clear();
  job_.current.reset();
  leave();
}

void Session::leave() {
  job_.done = true;
  conversation_.beginLogout();
  static_cast<void>(controller_.sendLogout());
}

}  // namespace ftp_fetch
