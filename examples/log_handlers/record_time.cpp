#include "log_handlers/record_time.h"

#include <array>
#include <ctime>

namespace log_handlers {

std::string timeText(std::chrono::system_clock::time_point time) {
  const auto second = std::chrono::floor<std::chrono::seconds>(time);
  const std::time_t clock = std::chrono::system_clock::to_time_t(second);
  std::tm calendar{};
  ::gmtime_r(&clock, &calendar);
  std::array<char, 64> text{};
  std::string all(text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S.", &calendar));
  const std::string fraction = std::to_string(std::chrono::floor<std::chrono::microseconds>(time - second).count());
  return all.append(6 - fraction.size(), '0').append(fraction).append("Z");
}

}  // namespace log_handlers
