#pragma once

#include <iosfwd>
#include <string>
#include <utility>
#include <vector>

namespace bench {

/// The results of a run, by name.
class Figures {
 public:
  Figures& add(const std::string& name, double value);
  /// Prints one JSON object on one line.
  void print(std::ostream& out) const;

 private:
  std::vector<std::pair<std::string, double>> values_;
};

}  // namespace bench
