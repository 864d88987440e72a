#include "ftp_fetch/run.h"

#include <qk/logging/logging.h>

#include <cstdlib>
#include <deque>
#include <exception>
#include <thread>
#include <vector>

#include "ftp_fetch/fetch_worker.h"
#include "ftp_fetch/log_text.h"
#include "ftp_fetch/network.h"
#include "ftp_fetch/password.h"
#include "ftp_fetch/url.h"

namespace ftp_fetch {

namespace {

/// Passes every log record to the conversation of its thread, and prints it if the user asked for a trace. Outlives the
/// workers.
class LogListener {
 public:
  explicit LogListener(Report& report)
      : id_(qk::logging::AddHandler([&](const qk::logging::Record& record) {
          if (Conversation* const conversation = Conversation::ofThread()) conversation->note(record);
          report.trace(record.level, masked(record.text));
        })) {
    qk::logging::SetMinLogLevel(qk::logging::LogLevel::Trace);
  }
  LogListener(const LogListener&) = delete;
  LogListener& operator=(const LogListener&) = delete;
  ~LogListener() { qk::logging::RemoveHandler(id_); }

 private:
  const qk::logging::HandlerId id_;
};

/// One run of the program, after the command line was checked.
class FetchRun {
 public:
  FetchRun(const Plan& plan, const tovik::ftp::connection_data_t& connection, std::string directory,
           EndSignals& signals, DirectoryWriter& writer)
      : connection_(connection),
        limits_(plan.limits),
        printsStatistics_(plan.statistics),
        signals_(signals),
        report_(plan.detail) {
    job_.directory = std::move(directory);
    job_.passive = !plan.active;
    job_.listOnly = plan.list;
    const std::deque<std::string> names(plan.names.begin(), plan.names.end());
    report_.expect(names);
    if (!names.empty()) job_.names.give(names);
    for (unsigned number = 0; number < plan.sessions; ++number)
      workers_.emplace_back(number, FetchWorker::Context{connection_, limits_, job_, writer, report_, signals_});
  }

  int run() {
    runWorkers();
    report_.notTried(job_.names.drop().value_or(0));
    if (!job_.listOnly) report_.summary();
    if (printsStatistics_) report_.statistics(statistics());
    if (signals_.received() != 0) return 128 + signals_.received();
    return report_.anythingFailed() ? 1 : 0;
  }

 private:
  /// Ends the other workers that are still waiting when the first one has ended, even if it ended with an exception.
  struct CancelWaiting {
    Names& names;
    ~CancelWaiting() { names.cancelOpening(); }
  };

  void runWorkers() {
    std::vector<std::jthread> others;
    const CancelWaiting cancelWaiting{job_.names};
    for (std::size_t number = 1; number < workers_.size(); ++number)
      others.emplace_back([this, number] { runOther(workers_[number]); });
    workers_[0].run();
  }

  void runOther(FetchWorker& worker) try {
    if (job_.names.waitUntilOpen()) worker.run();
  } catch (const std::exception& error) {
    report_.problem(error.what());
  }

  std::vector<SessionStatistics> statistics() const {
    std::vector<SessionStatistics> sessions;
    for (unsigned number = 0; number < workers_.size(); ++number)
      if (const auto& worker = workers_[number].statistics()) sessions.push_back({number + 1, *worker});
    return sessions;
  }

  const tovik::ftp::connection_data_t connection_;
  const Limits limits_;
  const bool printsStatistics_;
  EndSignals& signals_;
  Report report_;
  Job job_;
  std::deque<FetchWorker> workers_;
  const LogListener listener_{report_};
};

tovik::Result findAddresses(const Plan& plan, const Url& url, tovik::ftp::connection_data_t& connection) {
  connection.server.set_port(url.port);
  if (tovik::Result resolved = resolveHost(url.host, connection.server); !resolved) return resolved;
  if (!plan.local.empty()) return connection.local.set_host(plan.local);
  return plan.active ? findLocalAddress(connection.server, connection.local) : tovik::Success;
}

std::optional<std::string> findPassword(const Url& url, EndSignals& signals) {
  if (url.password) return url.password;
  if (const char* const given = std::getenv("FTP_PASSWORD")) return given;
  return askPassword("Password for " + url.user + "@" + url.host + ": ", signals);
}

bool containsLineEnd(const std::string& text) { return text.find_first_of("\r\n") != std::string::npos; }

int fail(const std::string& text, int exitCode) {
  Report(Report::Detail::quiet).problem(text);
  return exitCode;
}

}  // namespace

int run(const Plan& plan) {
  Url url;
  if (const tovik::Result parsed = parseUrl(plan.url, url); !parsed) return fail("invalid URL: " + parsed.message, 2);
  tovik::ftp::connection_data_t connection;
  if (const tovik::Result found = findAddresses(plan, url, connection); !found) return fail(found.message, 2);
  DirectoryWriter writer;
  if (const tovik::Result opened = plan.list ? tovik::Success : writer.open(plan.directory); !opened)
    return fail(opened.message, 1);
  EndSignals signals;
  const auto password = findPassword(url, signals);
  if (signals.received() != 0) return 128 + signals.received();
  if (!password) return fail("no password for " + url.user + ": set FTP_PASSWORD, or run ftp_fetch on a terminal", 2);
  connection.user = url.user;
  connection.password = *password;
  connection.account = plan.account;
  if (containsLineEnd(connection.password) || containsLineEnd(connection.account))
    return fail("a password or account must not contain a line end", 2);
  return FetchRun(plan, connection, url.directory, signals, writer).run();
}

}  // namespace ftp_fetch
