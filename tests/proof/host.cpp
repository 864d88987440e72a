#include "host.h"

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

PlannedHost::PlannedHost(const std::vector<std::string>& commands) : news_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  for (const auto& command : commands) commands_.push_back(parsed(command));
}

std::vector<std::string> PlannedHost::lines() const {
  const std::lock_guard lock(mutex_);
  return lines_;
}

void PlannedHost::takeNews() const {
  eventfd_t count = 0;
  ::eventfd_read(news_.number(), &count);
}

void PlannedHost::onNlst(const std::vector<std::string>& names, const std::string& text) {
  std::string joined;
  {
    const SparedMemory spared;
    for (const auto& name : names) joined += (joined.empty() ? "" : ",") + name;
  }
  hear({"onNlst ", joined, " | ", text});
}

void PlannedHost::onRetrieve(const std::string& fileName, const std::string& text, std::string* content) {
  const std::unique_ptr<const std::string> owned(content);
  const std::string_view bytes = content == nullptr ? std::string_view("null") : *content;
  hear({"onRetrieve ", fileName, " | ", text, " | ", bytes});
}

void PlannedHost::onRetrieveFailed(const std::string& fileName, const std::string& text) {
  hear({"onRetrieveFailed ", fileName, " | ", text});
}

void PlannedHost::write(Texts texts) {
  const SparedMemory spared;
  std::string line;
  for (const auto text : texts) line += text;
  {
    const std::lock_guard lock(mutex_);
    lines_.push_back(line);
  }
  ::eventfd_write(news_.number(), 1);
}

void PlannedHost::hear(Texts texts) {
  write(texts);
  if (next_ == commands_.size()) return;
  const auto& command = commands_[next_++];
  Result begun;
  EXPECT_NO_THROW(begun = command(*controller_));
  wantedMemory_ = begun.message == "out of memory";
  EXPECT_TRUE(begun || wantedMemory_) << begun.message;
}

}  // namespace tovik::ftp
