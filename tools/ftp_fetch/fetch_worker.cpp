#include "ftp_fetch/fetch_worker.h"

#include <tovik/dispatch_store.h>
#include <tovik/exception.h>

#include "ftp_fetch/fetch_session.h"
#include "ftp_fetch/log_text.h"

namespace ftp_fetch {

namespace {

/// The dispatcher that a worker's sessions run on. Added by the constructor, removed by the destructor.
class Dispatcher {
 public:
  explicit Dispatcher(const std::string& name) : name_(name) {
    if (const tovik::Result added = tovik::DispatchStore::inst().add(name, 1); !added)
      throw tovik::Exception(added.message);
  }
  Dispatcher(const Dispatcher&) = delete;
  Dispatcher& operator=(const Dispatcher&) = delete;
  ~Dispatcher() { static_cast<void>(tovik::DispatchStore::inst().remove(name_)); }

  const std::string& name() const { return name_; }
  tovik::WorkerStatistics statistics() const { return tovik::DispatchStore::inst().fetch(name_)->statistics().front(); }

 private:
  const std::string name_;
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

}  // namespace

void FetchWorker::run() {
  conversation_.adoptThread();
  const Dispatcher dispatcher("ftp_fetch-" + std::to_string(number_));
  while (!progress_.done && runSession(dispatcher.name())) {
  }
  statistics_ = dispatcher.statistics();
}

/// Returns true if another session should continue with the files that are left.
bool FetchWorker::runSession(const std::string& dispatcher) {
  Conversation::State last;
  conversation_.beginLogin(context_.connection.server.printInet());
  const Outcome outcome = watchSession(dispatcher, last);
  if (progress_.done && outcome != Outcome::interrupted) return false;
  if (outcome == Outcome::stuck && skipRefusedFile(last)) return true;
  reportOutcome(outcome, last);
  abandon();
  return false;
}

Outcome FetchWorker::watchSession(const std::string& dispatcher, Conversation::State& last) {
  FetchSession session(context_.connection, dispatcher, static_cast<int>(context_.limits.firstByte.count()),
                       {context_.job, progress_, context_.writer, conversation_, context_.report, traffic_});
  if (const tovik::Result started = session.start(); !started) {
    reportProblem(started.message);
    abandon();
    return Outcome::ended;
  }
  return Watch(conversation_, traffic_, context_.signals, context_.report, context_.limits).wait(last);
}

/// In active mode a server that refuses a file never connects, and the session waits for it forever. Only a new session
/// can continue.
bool FetchWorker::skipRefusedFile(const Conversation::State& last) {
  if (conversation_.state().number != last.number) return true;  // the outcome has arrived in the meantime
  if (!progress_.current || !last.sent.starts_with("RETR ")) return false;
  context_.report.failed(*progress_.current, last.lastReply->text);
  progress_.current.reset();
  return true;
}

void FetchWorker::reportOutcome(Outcome outcome, const Conversation::State& last) {
  if (progress_.done) return;
  if (outcome == Outcome::interrupted && context_.job.interruptionReported.exchange(true)) return;
  reportProblem(describe(outcome, last, context_.limits));
}

/// Many servers limit the logins of a user. A failed login is an error only for the first worker; for the others it is
/// a note, since the workers that are logged in fetch all files.
void FetchWorker::reportProblem(const std::string& problem) {
  const bool atLogin = conversation_.state().stage == Conversation::Stage::login;
  if (number_ > 0 && atLogin && context_.signals.received() == 0)
    context_.report.note("continuing with fewer sessions: " + problem);
  else
    context_.report.problem(problem);
}

void FetchWorker::abandon() {
  if (progress_.current) context_.report.notTried(1);
  progress_.current.reset();
  progress_.done = true;
}

}  // namespace ftp_fetch
