#include <functional>
#include <utility>

#include "listing.h"
#include "tovik/ftp_bridge/ftp_bridge.h"

// A transfer is complete when the server's final reply has arrived and the data connection has ended, in either order.
// The second of the two events reports the outcome. The client's callback comes last on each path and gets copies: its
// next command clears the members, and the destructor frees them.

namespace tovik::ftp {

Result Controller::getNlst(bool usePassive) {
  return perform([this, usePassive] {
    QK_LOG(qk::logging::LogLevel::Trace) << "Tovik: controller getting directory listing";
    prepareCommand(cmd_e::nlst);
    startDataConnection(usePassive);
  });
}

Result Controller::getFile(const std::string& name, bool usePassive) {
  const auto act = [this, &name, usePassive] {
    QK_LOG(qk::logging::LogLevel::Trace) << "Tovik: controller getting file " << name;
    prepareCommand(cmd_e::retr);
    fileName = name;
    startDataConnection(usePassive);
  };
  // By reference: std::function would have to allocate memory for a copy, outside the try block of begin.
  return perform(std::cref(act));
}

void Controller::onNlst(bool ok, const std::string& text) {
  replyOk = ok;
  replyText = text;
  if (received != nullptr) return processNlst();
  replyReceived = true;
}

void Controller::onRetrieve(bool ok, const std::string& text) {
  replyOk = ok;
  replyText = text;
  if (received != nullptr) return processRetrieve();
  replyReceived = true;
}

void Controller::onDataReceived(std::string* data) {
  if (data == nullptr)
    QK_LOG(qk::logging::LogLevel::Trace) << "Tovik: controller received 0 bytes";
  else
    QK_LOG(qk::logging::LogLevel::Trace) << "Tovik: controller " << static_cast<int>(command) << " received "
                                         << data->size() << " bytes";
  delete std::exchange(received, data);
  if (command == cmd_e::nlst && replyReceived) return processNlst();
  if (command == cmd_e::retr && replyReceived) processRetrieve();
}

/// The text for a transfer that the server reports as complete although this side ended its data connection.
std::string Controller::limitText() const {
  return "nothing received within the limit of " + std::to_string(transport->traits().first_byte_limit_s) + " s";
}

void Controller::processNlst() {
  command = cmd_e::none;
  const std::string text = replyText;
  if (!replyOk) return client->onNlstFailed(text);
  if (cutByLimit) return client->onNlstFailed(limitText());
  if (received == nullptr) return client->onNlstFailed("no data");
  const std::vector<std::string> names = splitListing(*received);
  delete std::exchange(received, nullptr);
  client->onNlst(names, text);
}

void Controller::processRetrieve() {
  command = cmd_e::none;
  const std::string name = fileName;
  const std::string text = replyText;
  if (!replyOk) return client->onRetrieveFailed(name, text);
  if (cutByLimit) return client->onRetrieveFailed(name, limitText());
  client->onRetrieve(name, text, std::exchange(received, nullptr));
}

}  // namespace tovik::ftp
