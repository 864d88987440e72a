#include "virtual_account.h"

#include <unistd.h>

namespace test_servers {
namespace {

// crypt(3) of the password below.
const char* const hashed =
    "$6$tovik$KU7aOZTuXLi7BmNUsg2xP80qmDLyyxUWDydxoK7bT.1qLMdPGee5uJ8F3BS9vAltcK/d6uLnWNdwMlyrNilHv0";

constexpr unsigned daemon = 1;

}  // namespace

Account virtualAccount() { return {"tester", "secret"}; }

std::string virtualAccountLine(const std::string& home) {
  const auto user = std::to_string(geteuid() == 0 ? daemon : geteuid());
  const auto group = std::to_string(geteuid() == 0 ? daemon : getegid());
  return virtualAccount().user + ":" + hashed + ":" + user + ":" + group + "::" + home;
}

}  // namespace test_servers
