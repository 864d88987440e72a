#pragma once

#include "little_server.h"
#include "program.h"
#include "temp_directory.h"

namespace testing_support {

/// ftp_fetch with a directory of its own to fetch into.
class Fetching {
 protected:
  Program::Arguments commandFor(const std::string& url, const Program::Arguments& more = {}) const {
    Program::Arguments command{FTP_FETCH, url, "-o", into.path()};
    command.insert(command.end(), more.begin(), more.end());
    return command;
  }

  Finished fetch(const std::string& url, const Program::Arguments& more = {},
                 const Program::Arguments& environment = {}) const {
    return finish(commandFor(url, more), environment);
  }

  const TempDirectory into;
};

/// An instruction that says one thing and does nothing more.
inline LittleServer::Instruction replying(const std::string& line) {
  return [line](LittleServer::Talk& talk, const std::string&) { talk.reply(line); };
}

}  // namespace testing_support
