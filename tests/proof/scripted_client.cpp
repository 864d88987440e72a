#include "scripted_client.h"

#include <gtest/gtest.h>
#include <sys/eventfd.h>

#include <memory>

#include "support/heap.h"

namespace tovik::ftp {

namespace {

using testing_support::SparedMemory;

std::function<Result(Controller&)> parsed(const std::string& command) {
  const auto blank = command.find(' ');
  const auto verb = command.substr(0, blank);
  const auto argument = blank == std::string::npos ? "" : command.substr(blank + 1);
  const auto name = argument.substr(0, argument.find(' '));
  const bool passive = command.ends_with(" passive");
  if (verb == "PWD") return [](Controller& controller) { return controller.getPwd(); };
  if (verb == "CWD") return [argument](Controller& controller) { return controller.changeCwd(argument); };
  if (verb == "CDUP") return [](Controller& controller) { return controller.cdUp(); };
  if (verb == "NLST") return [passive](Controller& controller) { return controller.getNlst(passive); };
  if (verb == "RETR") return [name, passive](Controller& controller) { return controller.getFile(name, passive); };
  return [](Controller& controller) { return controller.sendLogout(); };
}

}  // namespace

ScriptedClient::ScriptedClient(const std::vector<std::string>& commands)
    : event_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  for (const auto& command : commands) commands_.push_back(parsed(command));
}

std::vector<std::string> ScriptedClient::lines() const {
  const std::lock_guard lock(mutex_);
  return lines_;
}

void ScriptedClient::clearEvent() const {
  eventfd_t count = 0;
  ::eventfd_read(event_.number(), &count);
}

void ScriptedClient::onNlst(const std::vector<std::string>& names, const std::string& text) {
  std::string joined;
  {
    const SparedMemory spared;
    for (const auto& name : names) joined += (joined.empty() ? "" : ",") + name;
  }
  act({"onNlst ", joined, " | ", text});
}

void ScriptedClient::onRetrieve(const std::string& fileName, const std::string& text, std::string* content) {
  const std::unique_ptr<const std::string> owned(content);
  const std::string_view bytes = content == nullptr ? std::string_view("null") : *content;
  act({"onRetrieve ", fileName, " | ", text, " | ", bytes});
}

void ScriptedClient::onRetrieveFailed(const std::string& fileName, const std::string& text) {
  act({"onRetrieveFailed ", fileName, " | ", text});
}

void ScriptedClient::write(Texts texts) {
  const SparedMemory spared;
  std::string line;
  for (const auto text : texts) line += text;
  {
    const std::lock_guard lock(mutex_);
    lines_.push_back(line);
  }
  ::eventfd_write(event_.number(), 1);
}

void ScriptedClient::act(Texts texts) {
  write(texts);
  if (next_ == commands_.size()) return;
  const auto& command = commands_[next_++];
  Result begun;
  EXPECT_NO_THROW(begun = command(*controller_));
  ranOutOfMemory_ = begun.message == "out of memory";
  EXPECT_TRUE(begun || ranOutOfMemory_) << begun.message;
}

}  // namespace tovik::ftp
