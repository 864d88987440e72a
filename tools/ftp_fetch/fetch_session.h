#pragma once

#include <tovik/ftp_bridge/ftp_bridge.h>

#include <string>
#include <vector>

#include "ftp_fetch/conversation.h"
#include "ftp_fetch/directory_writer.h"
#include "ftp_fetch/job.h"
#include "ftp_fetch/report.h"
#include "ftp_fetch/traffic.h"

namespace ftp_fetch {

/// One login: changes to the directory, lists it if the names are not known, fetches one file after the other, logs
/// out. Each step starts in the callback of the step before.
///
/// Threads:   constructed, started and destroyed by the thread of its FetchWorker; callbacks on the worker thread.
/// Ownership: borrows the context, which outlives it. The destructor ends the session.
class FetchSession final : private tovik::ftp::FTPclient {
 public:
  struct Context {
    Job& job;
    WorkerProgress& progress;
    DirectoryWriter& writer;
    Conversation& conversation;
    Report& report;
    Traffic& traffic;
  };

  /// Throws tovik::Exception if the dispatcher does not exist.
  FetchSession(const tovik::ftp::connection_data_t& connection, const std::string& dispatcher, int firstByteLimit_s,
               const Context& context);

  tovik::Result start() { return controller_.start(); }

 private:
  void onConnected() override;
  void onDisconnected() override;
  void onPwd(const std::string& /*directory*/) override {}
  void onPwdFailed(const std::string& /*text*/) override {}
  void onCwd(const std::string& text) override;
  void onCwdFailed(const std::string& text) override;
  void onCdup(const std::string& /*text*/) override {}
  void onCdupFailed(const std::string& /*text*/) override {}
  void onNlst(const std::vector<std::string>& names, const std::string& text) override;
  void onNlstFailed(const std::string& text) override;
  void onRetrieve(const std::string& fileName, const std::string& text, std::string* content) override;
  void onRetrieveFailed(const std::string& fileName, const std::string& text) override;

  void startWork();
  void fetchNext();
  void tryNext();
  void abandonAll(const std::string& problem);
  void logOut();

  Job& job_;
  WorkerProgress& progress_;
  DirectoryWriter& writer_;
  Conversation& conversation_;
  Report& report_;
  bool trying_ = false;
  bool tryAgain_ = false;
  tovik::ftp::Controller controller_;  // last member: it makes callbacks until it is destroyed
};

}  // namespace ftp_fetch
