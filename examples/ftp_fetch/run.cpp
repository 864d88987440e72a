#include "ftp_fetch/run.h"

#include <qk/logging/logging.h>
#include <tovik/dispatch_store.h>
#include <tovik/exception.h>

#include <cstdlib>

#include "ftp_fetch/log_text.h"
#include "ftp_fetch/network.h"
#include "ftp_fetch/password.h"
#include "ftp_fetch/session.h"
#include "ftp_fetch/url.h"

namespace ftp_fetch {

namespace {

const std::string dispatcherName = "ftp_fetch";

/// The worker that sessions run on, for as long as this lives.
class Dispatcher {
 public:
  Dispatcher() {
    if (const tovik::Result added = tovik::DispatchStore::inst().add(dispatcherName, 1); !added)
      throw tovik::Exception(added.message);
  }
  Dispatcher(const Dispatcher&) = delete;
  Dispatcher& operator=(const Dispatcher&) = delete;
  ~Dispatcher() { static_cast<void>(tovik::DispatchStore::inst().remove(dispatcherName)); }
};

/// Hands every log record to the conversation, and shows it where that is wanted. Outlives the worker.
class LogListener {
 public:
  LogListener(Conversation& conversation, Report& report)
      : id_(qk::logging::AddHandler([&](const qk::logging::Record& record) {
          conversation.note(record);
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

std::string describe(Outcome outcome, const Conversation::State& state, const Limits& limits) {
  const std::string lastReply = state.lastReply ? "; last reply: " + state.lastReply->print() : "; no reply so far";
  switch (outcome) {
    case Outcome::loginRefused:
      return state.command + " refused: " + state.lastReply->print();
    case Outcome::stuck:
      return state.sent + " refused: " + state.lastReply->print();
    case Outcome::timedOut:
      return state.command + ": no progress for " + std::to_string(limits.command.count()) + " s" + lastReply;
    case Outcome::interrupted:
      return "interrupted during " + state.command;
    case Outcome::ended:
      break;
  }
  const std::string warning = state.lastWarning.empty() ? "" : "; " + withoutOrigin(state.lastWarning);
  return "the connection ended during " + state.command + lastReply + warning;
}

/// One run of the program, from the login on.
class Errand {
 public:
  Errand(const Plan& plan, const tovik::ftp::connection_data_t& connection, std::string directory, EndSignals& signals,
         DirectoryWriter& writer)
      : connection_(connection), limits_(plan.limits), signals_(signals), writer_(writer), report_(plan.detail) {
    job_.directory = std::move(directory);
    job_.passive = !plan.active;
    job_.listOnly = plan.list;
    job_.namesKnown = !plan.names.empty();
    job_.names.assign(plan.names.begin(), plan.names.end());
    report_.expect(job_.names);
  }

  int run() {
    while (!job_.done && runSession()) {
    }
    if (!job_.listOnly) report_.summary();
    if (signals_.received() != 0) return 128 + signals_.received();
    return report_.anythingFailed() ? 1 : 0;
  }

 private:
  /// Whether another session should go on with what is left.
  bool runSession() {
    Conversation::State last;
    conversation_.beginLogin(connection_.server.printInet());
    const Outcome outcome = watchSession(last);
    if (job_.done && outcome != Outcome::interrupted) return false;
    if (outcome == Outcome::stuck && passOverRefused(last)) return true;
    abandon(describe(outcome, last, limits_));
    return false;
  }

  Outcome watchSession(Conversation::State& last) {
    Session session(connection_, dispatcherName, static_cast<int>(limits_.firstByte.count()),
                    {job_, writer_, conversation_, report_, traffic_});
    if (const tovik::Result started = session.start(); !started) {
      abandon(started.message);
      return Outcome::ended;
    }
    return Watch(conversation_, traffic_, signals_, report_, limits_).wait(last);
  }

  /// In active mode a server that refuses a file never connects, and the session waits for it for ever. Its next word
  /// could only be to a new session.
  bool passOverRefused(const Conversation::State& last) {
    if (conversation_.state().number != last.number) return true;  // the outcome came after all
    if (!job_.current || !last.sent.starts_with("RETR ")) return false;
    report_.failed(*job_.current, last.lastReply->text);
    job_.current.reset();
    return true;
  }

  void abandon(const std::string& problem) {
    if (!job_.done) report_.problem(problem);
    report_.notTried(job_.names.size() + (job_.current ? 1 : 0));
    job_.done = true;
  }

  const tovik::ftp::connection_data_t connection_;
  const Limits limits_;
  EndSignals& signals_;
  DirectoryWriter& writer_;
  Report report_;
  Conversation conversation_;
  Traffic traffic_;
  Job job_;
  // The last two: no thread may log when the listener goes.
  const LogListener listener_{conversation_, report_};
  const Dispatcher dispatcher_;
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
