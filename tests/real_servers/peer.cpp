#include "peer.h"

#include <algorithm>
#include <stdexcept>

namespace real_servers {
namespace {

test_servers::ServerKind kindOf(const std::string& name) {
  const auto kinds = test_servers::serverKinds();
  const auto found = std::find_if(kinds.begin(), kinds.end(), [&](const auto& kind) { return kind.name == name; });
  if (found == kinds.end()) throw std::logic_error("no server " + name);
  return *found;
}

std::string withReturns(const std::string& content, bool afterReturnsToo) {
  std::string result;
  result.reserve(content.size() + content.size() / 64);
  std::size_t taken = 0;
  for (auto end = content.find('\n'); end != std::string::npos; end = content.find('\n', end + 1)) {
    result.append(content, taken, end - taken);
    if (afterReturnsToo || end == 0 || content[end - 1] != '\r') result += '\r';
    taken = end;
  }
  result.append(content, taken);
  return result;
}

}  // namespace

std::string asItIs(std::string content) { return content; }
std::string everyLineFeedAfterAReturn(std::string content) { return withReturns(content, true); }
std::string everyBareLineFeedAfterAReturn(std::string content) { return withReturns(content, false); }

std::vector<Peer> peers() {
  return {{kindOf("Vsftpd"), "This FTP server is anonymous only.", "Failed to open file.", &asItIs, false,
           EmptyListing::noNames, Refusal::limited, Refusal::neverEnding},
          {kindOf("Proftpd"), "Login incorrect.", "missing: No such file or directory", &asItIs, false,
           EmptyListing::noNames, Refusal::reported, Refusal::neverEnding},
          {kindOf("PureFtpd"), "Login authentication failed", "Can't open missing: No such file or directory",
           &everyLineFeedAfterAReturn, true, EmptyListing::dots, Refusal::limited, Refusal::neverEnding},
          {kindOf("Pyftpdlib"), "Authentication failed.", "No such file or directory.", &asItIs, false,
           EmptyListing::noNames, Refusal::limited, Refusal::limited},
          {kindOf("InetutilsFtpd"), "Sorry, only anonymous ftp allowed", "missing: No such file or directory.",
           &everyLineFeedAfterAReturn, false, EmptyListing::refused, Refusal::limited, Refusal::neverEnding}};
}

}  // namespace real_servers
