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

/// One login: changes to the directory, lists it where the names are not known, fetches one file after the other,
/// logs out. Every step is taken in the callback that ends the one before.
///
/// Threads:   made, started and destroyed by one thread, its lane's; the rest happens on the worker.
/// Ownership: borrows everything, which outlives it. The destructor ends the session.
class Session final : private tovik::ftp::FTPclient {
 public:
  struct Surroundings {
    Job& job;
    Part& part;
    DirectoryWriter& writer;
    Conversation& conversation;
    Report& report;
    Traffic& traffic;
  };

  /// Throws tovik::Exception when there is no dispatcher.
  Session(const tovik::ftp::connection_data_t& connection, const std::string& dispatcher, int firstByteLimit_s,
          const Surroundings& surroundings);

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

  void work();
  void fetchNext();
  void tryNext();
  void giveUp(const std::string& problem);
  void leave();

  Job& job_;
  Part& part_;
  DirectoryWriter& writer_;
  Conversation& conversation_;
  Report& report_;
  bool trying_ = false;
  bool tryAgain_ = false;
  tovik::ftp::Controller controller_;  // last: it calls back until it is gone
};

}  // namespace ftp_fetch
