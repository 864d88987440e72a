#pragma once

#include <locale>
#include <string>

namespace qk::logging {

/// Writes numbers such as 1.234.567 and 0,5.
inline std::locale groupingLocale() {
  struct Punctuation : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
  };
  return {std::locale::classic(), new Punctuation};
}

/// The global locale of the process while the object exists.
class GlobalLocale {
 public:
  explicit GlobalLocale(const std::locale& locale) : former_(std::locale::global(locale)) {}
  ~GlobalLocale() { std::locale::global(former_); }
  GlobalLocale(const GlobalLocale&) = delete;
  GlobalLocale& operator=(const GlobalLocale&) = delete;

 private:
  const std::locale former_;
};

}  // namespace qk::logging
