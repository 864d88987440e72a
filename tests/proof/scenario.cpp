#include "scenario.h"

#include <ostream>
#include <utility>

namespace tovik::ftp {

Scenario& Scenario::runs(std::vector<std::string> commands) {
  commands_ = std::move(commands);
  return *this;
}

Scenario& Scenario::offer(const std::string& before, const std::string& after) {
  return add({Step::Kind::offer, before + "%" + after + "\r\n"});
}

Scenario& Scenario::login() {
  return reply("220 Ready")
      .expect("USER me")
      .reply("331 Password?")
      .expect("PASS secret")
      .reply("230 Hello")
      .callback("onConnected");
}

std::vector<std::string> Scenario::outcome() const {
  std::vector<std::string> lines;
  for (const Step& step : steps_)
    if (step.kind == Step::Kind::callback) lines.push_back(step.text);
  lines.emplace_back("onDisconnected");
  return lines;
}

Scenario& Scenario::add(Step step) {
  steps_.push_back(std::move(step));
  return *this;
}

void PrintTo(const Scenario& scenario, std::ostream* out) { *out << scenario.name(); }

}  // namespace tovik::ftp
