#include "ftp_fetch/watch.h"

#include <poll.h>

#include <algorithm>
#include <array>

namespace ftp_fetch {

namespace {

// Short enough for a smooth progress line, and for limits in whole seconds.
constexpr int pause_ms = 200;

// Time for the session itself to notice its limit and report the refusal.
constexpr std::chrono::seconds grace{1};

// The reply to QUIT is not worth a long wait.
constexpr std::chrono::seconds logoutLimit{5};

}  // namespace

std::optional<Outcome> judge(const Conversation::State& state, Time lastData, Time now, const Limits& limits) {
  if (state.ended) return Outcome::ended;
  if (state.refusedAt && state.stage == Conversation::Stage::login) return Outcome::loginRefused;
  if (state.refusedAt && limits.firstByte.count() > 0 && now - *state.refusedAt >= limits.firstByte + grace)
    return Outcome::stuck;
  if (state.stage == Conversation::Stage::logout && now - state.since >= logoutLimit) return Outcome::timedOut;
  if (limits.command.count() > 0 && now - std::max(state.since, lastData) >= limits.command) return Outcome::timedOut;
  return std::nullopt;
}

Watch::Watch(Conversation& conversation, Traffic& traffic, EndSignals& signals, Report& report, const Limits& limits)
    : conversation_(conversation), traffic_(traffic), signals_(signals), report_(report), limits_(limits) {}

Outcome Watch::wait(Conversation::State& last) {
  for (;;) {
    if (const auto outcome = check(last)) return *outcome;
    pause();
  }
}

std::optional<Outcome> Watch::check(Conversation::State& last) {
  const Time now = std::chrono::steady_clock::now();
  last = conversation_.state();
  const auto more = traffic_.bytes() - bytes_;
  bytes_ += more;
  if (more > 0) lastData_ = now;
  report_.progress(last.command, more);
  if (signals_.received() != 0) return Outcome::interrupted;
  return judge(last, lastData_, now, limits_);
}

void Watch::pause() {
  std::array<pollfd, 2> descriptors{{{conversation_.descriptor(), POLLIN, 0}, {signals_.descriptor(), POLLIN, 0}}};
  ::poll(descriptors.data(), descriptors.size(), pause_ms);
  conversation_.drain();
}

}  // namespace ftp_fetch
