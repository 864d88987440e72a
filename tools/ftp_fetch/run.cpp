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

/// Hands every log record to the conversation that it is of, and shows it where that is wanted. Outlives the workers.
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

/// One run of the program, from the login on.
class Errand {
 public:
  Errand(const Plan& plan, const tovik::ftp::connection_data_t& connection, std::string directory, EndSignals& signals,
         DirectoryWriter& writer)
      : connection_(connection),
        limits_(plan.limits),
        tellsStatistics_(plan.statistics),
        signals_(signals),
        report_(plan.detail) {
    job_.directory = std::move(directory);
    job_.passive = !plan.active;
    job_.listOnly = plan.list;
    const std::deque<std::string> names(plan.names.begin(), plan.names.end());
    report_.expect(names);
    if (!names.empty()) job_.names.give(names);
    for (unsigned number = 0; number < plan.sessions; ++number)
      lanes_.emplace_back(number, Lane::Surroundings{connection_, limits_, job_, writer, report_, signals_});
  }

  int run() {
    runLanes();
    report_.notTried(job_.names.drop().value_or(0));
    if (!job_.listOnly) report_.summary();
    if (tellsStatistics_) report_.statistics(statistics());
    if (signals_.received() != 0) return 128 + signals_.received();
    return report_.anythingFailed() ? 1 : 0;
  }

 private:
  /// Lets the other lanes end that never began, however the first one went.
  struct Release {
    Names& names;
    ~Release() { names.giveUpOpening(); }
  };

  void runLanes() {
    std::vector<std::jthread> others;
    const Release release{job_.names};
    for (std::size_t number = 1; number < lanes_.size(); ++number)
      others.emplace_back([this, number] { runOther(lanes_[number]); });
    lanes_[0].run();
  }

  void runOther(Lane& lane) try {
    if (job_.names.waitUntilOpen()) lane.run();
  } catch (const std::exception& error) {
    report_.problem(error.what());
  }

  std::vector<SessionStatistics> statistics() const {
    std::vector<SessionStatistics> sessions;
    for (unsigned number = 0; number < lanes_.size(); ++number)
      if (const auto& worker = lanes_[number].statistics()) sessions.push_back({number + 1, *worker});
    return sessions;
  }

  const tovik::ftp::connection_data_t connection_;
  const Limits limits_;
  const bool tellsStatistics_;
  EndSignals& signals_;
  Report report_;
  Job job_;
  std::deque<Lane> lanes_;
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

bool holdsLineEnd(const std::string& text) { return text.find_first_of("\r\n") != std::string::npos; }

int complain(const std::string& text, int exitCode) {
  Report(Report::Detail::quiet).problem(text);
  return exitCode;
}

}  // namespace

int run(const Plan& plan) {
  Url url;
  if (const tovik::Result parsed = parseUrl(plan.url, url); !parsed) return complain("the URL: " + parsed.message, 2);
  tovik::ftp::connection_data_t connection;
  if (const tovik::Result found = findAddresses(plan, url, connection); !found) return complain(found.message, 2);
  DirectoryWriter writer;
  if (const tovik::Result opened = plan.list ? tovik::Success : writer.open(plan.directory); !opened)
    return complain(opened.message, 1);
  EndSignals signals;
  const auto password = findPassword(url, signals);
  if (signals.received() != 0) return 128 + signals.received();
  if (!password) return complain("no password for " + url.user + ": give FTP_PASSWORD, or use a terminal", 2);
  connection.user = url.user;
  connection.password = *password;
  connection.account = plan.account;
  if (holdsLineEnd(connection.password) || holdsLineEnd(connection.account))
    return complain("a password or account can't hold a line end", 2);
  return Errand(plan, connection, url.directory, signals, writer).run();
}

}  // namespace ftp_fetch
