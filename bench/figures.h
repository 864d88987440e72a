#pragma once

#include <iosfwd>
#include <string>
#include <utility>
#include <vector>

namespace bench {

/// What a run has measured, by name.
class Figures {
 public:
  Figures& add(const std::string& name, double value);
  /// One JSON object on one line.
  void print(std::ostream& out) const;

 private:
  std::vector<std::pair<std::string, double>> values_;
};

}  // namespace bench
