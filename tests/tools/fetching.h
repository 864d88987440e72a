#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/little_server.h"
#include "support/program.h"
#include "support/temp_directory.h"

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

/// For RETR: sends a file's name as its content, and none before all of them have been asked for.
inline LittleServer::Instruction sendingOnceAskedFor(const LittleServer& server,
                                                     const std::vector<std::string>& names) {
  return [&server, names](LittleServer::Talk& talk, const std::string& name) {
    for (const auto& each : names) EXPECT_TRUE(server.waitForCommand("RETR " + each));
    talk.openData();
    talk.reply("150 Here");
    talk.sendData(name);
    talk.closeData();
    talk.reply("226 Done");
  };
}

}  // namespace testing_support
