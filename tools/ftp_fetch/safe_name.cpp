#include "ftp_fetch/safe_name.h"

namespace ftp_fetch {

const char* whyUnsafe(std::string_view name) {
  if (name.empty()) return "the name is empty";
  if (isSelfOrParent(name)) return "not the name of a file";
  if (name.find('/') != std::string_view::npos) return "the name contains a slash; directories belong in the URL";
  if (name.find('\0') != std::string_view::npos) return "the name contains a NUL";
  if (name.find_first_of("\r\n") != std::string_view::npos) return "the name contains a line end";
  return nullptr;
}

bool isSelfOrParent(std::string_view name) { return name == "." || name == ".."; }

}  // namespace ftp_fetch
