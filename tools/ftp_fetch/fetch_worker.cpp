#include "ftp_fetch/fetch_worker.h"

#include <tovik/dispatch_store.h>
#include <tovik/exception.h>

#include "ftp_fetch/fetch_session.h"
#include "ftp_fetch/log_text.h"

namespace ftp_fetch {

namespace {

/// The worker that a lane's sessions run on, for as long as this lives.
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

void Lane::run() {
  conversation_.adoptThread();
  const Dispatcher dispatcher("ftp_fetch-" + std::to_string(number_));
  while (!part_.done && runSession(dispatcher.name())) {
  }
  statistics_ = dispatcher.statistics();
}

/// Whether another session should go on with what is left.
bool Lane::runSession(const std::string& dispatcher) {
  Conversation::State last;
  conversation_.beginLogin(its_.connection.server.printInet());
  const Outcome outcome = watchSession(dispatcher, last);
  if (part_.done && outcome != Outcome::interrupted) return false;
  if (outcome == Outcome::stuck && passOverRefused(last)) return true;
  tellOf(outcome, last);
  abandon();
  return false;
}

Outcome Lane::watchSession(const std::string& dispatcher, Conversation::State& last) {
  Session session(its_.connection, dispatcher, static_cast<int>(its_.limits.firstByte.count()),
                  {its_.job, part_, its_.writer, conversation_, its_.report, traffic_});
  if (const tovik::Result started = session.start(); !started) {
    tell(started.message);
    abandon();
    return Outcome::ended;
  }
  return Watch(conversation_, traffic_, its_.signals, its_.report, its_.limits).wait(last);
}

/// In active mode a server that refuses a file never connects, and the session waits for it for ever. Its next word
/// could only be to a new session.
bool Lane::passOverRefused(const Conversation::State& last) {
  if (conversation_.state().number != last.number) return true;  // the outcome came after all
  if (!part_.current || !last.sent.starts_with("RETR ")) return false;
  its_.report.failed(*part_.current, last.lastReply->text);
  part_.current.reset();
  return true;
}

void Lane::tellOf(Outcome outcome, const Conversation::State& last) {
  if (part_.done) return;
  if (outcome == Outcome::interrupted && its_.job.interruptionTold.exchange(true)) return;
  tell(describe(outcome, last, its_.limits));
}

/// Many servers let one user in only so many times: then the others do the work.
void Lane::tell(const std::string& problem) {
  const bool atLogin = conversation_.state().stage == Conversation::Stage::login;
  if (number_ > 0 && atLogin && its_.signals.received() == 0)
    its_.report.note("going on with fewer sessions: " + problem);
  else
    its_.report.problem(problem);
}

void Lane::abandon() {
  if (part_.current) its_.report.notTried(1);
  part_.current.reset();
  part_.done = true;
}

}  // namespace ftp_fetch
