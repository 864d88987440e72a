#include "scenario.h"

#include <ostream>
#include <utility>

namespace tovik::ftp {

Scenario& Scenario::asks(std::vector<std::string> commands) {
  commands_ = std::move(commands);
  return *this;
}

Scenario& Scenario::offer(const std::string& before, const std::string& after) {
  return add({Step::Kind::offer, before + "%" + after + "\r\n"});
}

Scenario& Scenario::login() {
  return say("220 Ready").hear("USER me").say("331 Password?").hear("PASS secret").say("230 Hello").told("onConnected");
}

std::vector<std::string> Scenario::outcome() const {
  std::vector<std::string> lines;
  for (const Step& step : steps_)
    if (step.kind == Step::Kind::told) lines.push_back(step.text);
  lines.emplace_back("onDisconnected");
  return lines;
}

Scenario& Scenario::add(Step step) {
  steps_.push_back(std::move(step));
  return *this;
}

void PrintTo(const Scenario& scenario, std::ostream* out) { *out << scenario.name(); }

}  // namespace tovik::ftp
