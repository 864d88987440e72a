#include "reply_table.h"

#include <algorithm>

namespace tovik::ftp {

namespace {

Action nothing() {
  return [](Effects&) {};
}

Action sends(const std::string& command, pending_e next) {
  return [=](Effects& effects) {
    effects.sent.push_back(command);
    effects.pending = next;
  };
}

Action logsIn() {
  return [](Effects& effects) {
    effects.sessionState = 1;
    effects.pending = pending_e::none;
    effects.callbacks.emplace_back("onConnected");
  };
}

Action refusesLogin() {
  return [](Effects& effects) { effects.pending = pending_e::none; };
}

Action logs(const std::string& text) {
  return [=](Effects& effects) { effects.logged.push_back("Tovik: protocol interpreter: " + text); };
}

Action tells(const std::string& callback) {
  return [=](Effects& effects) {
    effects.pending = pending_e::none;
    effects.callbacks.push_back(callback);
  };
}

Action logsOut() {
  return [](Effects& effects) {
    effects.sessionState = 0;
    effects.pending = pending_e::none;
    ++effects.bringDowns;
  };
}

Action bringsDown() {
  return [](Effects& effects) { ++effects.bringDowns; };
}

Action closesService() {
  return [](Effects& effects) {
    effects.sessionState = 0;
    ++effects.bringDowns;
  };
}

}  // namespace

// clang-format off
const std::vector<ReplyRow>& replyTable() {
  using enum pending_e;
  static const std::vector<ReplyRow> table{
      {none,     {120},                     nothing()},
      {none,     {220},                     sends("USER me", user)},

      {user,     {230},                     logsIn()},
      {user,     {331},                     sends("PASS secret", password)},
      {user,     {332},                     sends("ACCT books", account)},
      {user,     {500, 501, 530},           refusesLogin()},

      {password, {230},                     logsIn()},
      {password, {202},                     logs("password not implemented")},
      {password, {332},                     sends("ACCT books", account)},
      {password, {500, 501, 503, 530},      refusesLogin()},

      {account,  {230},                     logsIn()},
      {account,  {202},                     logs("password not implemented")},
      {account,  {500, 501, 503, 530},      refusesLogin()},

      {port,     {200},                     sends("NLST", nlst)},
      {port,     {500, 501, 503},           tells("onNlstFailed text")},
      {port,     {530},                     logsOut()},

      {passive,  {227},                     tells("onNlstFailed address not delimited by ()")},
      {passive,  {500, 501, 503},           tells("onNlstFailed text")},
      {passive,  {530},                     logsOut()},

      {pwd,      {257},                     tells("onPwdFailed couldn't parse text")},
      {pwd,      {500, 501, 502, 550},      tells("onPwdFailed text")},

      {cwd,      {250},                     tells("onCwd text")},
      {cwd,      {500, 501, 502, 550},      tells("onCwdFailed text")},
      {cwd,      {530},                     logsOut()},

      {cdup,     {200},                     tells("onCdup text")},
      {cdup,     {500, 501, 502, 550},      tells("onCdupFailed text")},
      {cdup,     {530},                     logsOut()},

      {nlst,     {125, 150},                nothing()},
      {nlst,     {226, 250},                tells("onNlst x | text")},
      {nlst,     {425, 426, 450, 451},      tells("onNlstFailed text")},
      {nlst,     {500, 501, 502},           tells("onNlstFailed text")},
      {nlst,     {530},                     logsOut()},

      {retr,     {110},                     logs("restart marker unhandled")},
      {retr,     {125, 150},                nothing()},
      {retr,     {226, 250},                tells("onRetrieve file | text | x")},
      {retr,     {425, 426, 450, 451},      tells("onRetrieveFailed file | text")},
      {retr,     {500, 501, 550},           tells("onRetrieveFailed file | text")},
      {retr,     {530},                     logsOut()},

      {quit,     {221, 500},                bringsDown()},
  };
  return table;
}
// clang-format on

Action actionOn(int sessionState, pending_e pending, int code) {
  if (code == 421) return closesService();
  const bool loginCommand = pending <= pending_e::account;
  if (loginCommand != (sessionState == 0))
    return logs("bad pending command " + std::to_string(static_cast<int>(pending)) +
                (sessionState == 0 ? " while down" : " while up"));
  for (const auto& row : replyTable())
    if (row.pending == pending && std::find(row.codes.begin(), row.codes.end(), code) != row.codes.end())
      return row.action;
  return logs(wordOf(pending) + std::string(": unknown reply ") + std::to_string(code));
}

const std::vector<pending_e>& allPending() {
  using enum pending_e;
  static const std::vector<pending_e> all{none, user, password, account, port, passive,
                                          pwd,  cwd,  cdup,     nlst,    retr, quit};
  return all;
}

const char* wordOf(pending_e pending) {
  static const std::vector<const char*> words{"none", "user", "password", "account", "port", "passive",
                                              "pwd",  "cwd",  "cdup",     "nlst",    "retr", "quit"};
  return words.at(static_cast<std::size_t>(pending));
}

}  // namespace tovik::ftp
