#include <algorithm>

#include "tovik/ftp_bridge/ftp_bridge.h"
#include "tovik/text.h"

namespace tovik::ftp {

namespace {

bool readDigit(char character, char lowest, char highest, std::int16_t& digit) {
  if (character < lowest || character > highest) return false;
  digit = static_cast<std::int16_t>(character - '0');
  return true;
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const code_t& code) {
  return out << code.first << code.second << code.third;
}

// reply-line = code [ "-" ] text     ; RFC 959, section 4.2; the line end is part of text, and trimmed
// code       = first second third
// first      = "1" to "5"
// second     = "0" to "5"
// third      = "0" to "9"
// text       = any bytes, trimmed; a space after the code is not required
bool ProtocolInterpreter::parseReturnCode(const std::string& line, code_t& code, bool& continued, std::string& rest) {
  if (line.size() < 3) return false;
  if (!readDigit(line[0], '1', '5', code.first)) return false;
  if (!readDigit(line[1], '0', '5', code.second)) return false;
  if (!readDigit(line[2], '0', '9', code.third)) return false;
  if (line.size() == 3) {
    rest.clear();
    continued = false;
    return true;
  }
  const bool minus = line[3] == '-';
  if (minus) continued = true;
  rest = trim_whitespace(line.substr(minus ? 4 : 3));
  return true;
}

void ProtocolInterpreter::onData(Channel* /*from*/, const char* data, unsigned long size, Multicast* /*multicast*/) {
  const std::string line(data, size);
  code_t code;
  bool continued = false;
  std::string rest;
  const bool valid = parseReturnCode(line, code, continued, rest);
  if (replyState == 1) return continueReply(valid, code, rest);
  if (!valid) {
    QK_LOG(qk::logging::LogLevel::Warning) << "Tovik: protocol interpreter: no return code";
    return;
  }
  replyLines.assign(1, rest);
  if (continued) {
    replyState = 1;
    replyCode = code;
    return;
  }
  onInput(code, replyLines);
}

/// A line that repeats the code of the first line ends the reply, whether or not a minus sign follows the code. For a
/// line without a code, an empty text is kept.
void ProtocolInterpreter::continueReply(bool valid, const code_t& code, const std::string& rest) {
  if (valid && code != replyCode) {
    QK_LOG(qk::logging::LogLevel::Warning) << "Tovik: protocol interpreter: wrong return code";
    return;
  }
  replyLines.push_back(rest);
  if (!valid) return;
  replyState = 0;
  replyCode = {};
  onInput(code, replyLines);
}

}  // namespace tovik::ftp
