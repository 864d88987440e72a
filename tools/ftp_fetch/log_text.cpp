#include "ftp_fetch/log_text.h"

#include <string_view>

namespace ftp_fetch {

namespace {

constexpr std::string_view dialogue = "Tovik: [FTP] ";

bool isDigit(char character) { return character >= '0' && character <= '9'; }

/// Commands begin with a letter, replies with a code.
bool isReply(std::string_view line) {
  return line.size() >= 4 && isDigit(line[0]) && isDigit(line[1]) && isDigit(line[2]) && line[3] == ' ';
}

std::optional<std::string_view> dialogueIn(std::string_view record) {
  if (!record.starts_with(dialogue)) return std::nullopt;
  return record.substr(dialogue.size());
}

std::string maskedCommand(std::string_view command) {
  for (const std::string_view secret : {"PASS ", "ACCT "})
    if (command.starts_with(secret)) return std::string(secret) + "****";
  return std::string(command);
}

}  // namespace

/// The log shows each line of a reply between double quotes, followed by a blank.
std::optional<Reply> replyIn(const std::string& record) {
  const auto line = dialogueIn(record);
  if (!line || !isReply(*line)) return std::nullopt;
  std::string_view text = line->substr(4, line->find('\n') - 4);
  if (text.starts_with('"')) text.remove_prefix(1);
  if (text.ends_with("\" ")) text.remove_suffix(2);
  return Reply{std::stoi(std::string(line->substr(0, 3))), std::string(text)};
}

std::optional<std::string> commandIn(const std::string& record) {
  const auto line = dialogueIn(record);
  if (!line || isReply(*line)) return std::nullopt;
  return maskedCommand(*line);
}

std::string masked(const std::string& record) {
  const auto command = commandIn(record);
  return command ? std::string(dialogue) + *command : record;
}

std::string withoutOrigin(const std::string& record) {
  std::string_view text = record;
  for (const std::string_view origin : {"Tovik: ", "protocol_interpreter: ", "protocol interpreter: "})
    if (text.starts_with(origin)) text.remove_prefix(origin.size());
  return std::string(text);
}

}  // namespace ftp_fetch
