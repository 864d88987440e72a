#include "figures.h"

#include <limits>
#include <ostream>

namespace bench {

Figures& Figures::add(const std::string& name, double value) {
  values_.emplace_back(name, value);
  return *this;
}

void Figures::print(std::ostream& out) const {
  out.precision(std::numeric_limits<double>::max_digits10);
  const char* separator = "{";
  for (const auto& [name, value] : values_) {
    out << separator << '"' << name << "\": " << value;
    separator = ", ";
  }
  out << "}\n";
}

}  // namespace bench
