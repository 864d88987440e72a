#include "corpus.h"

namespace tovik::ftp {

namespace {

const std::string listing = "a\r\nb c\r\n";
const std::string wholeFile("one\r\ntwo\nthree\0four\xff", 20);

std::string retrieved(const std::string& data) { return "onRetrieve f | Done | " + data; }

/// As a listing is split: the names in these tests hold no blanks at their ends.
std::string listed(const std::string& data) {
  std::string names;
  std::string name;
  const auto endName = [&] {
    while (!name.empty() && (name.back() == '\r' || name.back() == ' ')) name.pop_back();
    if (!name.empty()) names += (names.empty() ? "" : ",") + name;
    name.clear();
  };
  for (const char byte : data) {
    if (byte == '\n')
      endName();
    else
      name += byte;
  }
  endName();
  return "onNlst " + names + " | Done";
}

std::vector<Scenario> logins() {
  return {
      Scenario("LoginWithPassword").login(),
      Scenario("LoginWithoutPassword").reply("220 Ready").expect("USER me").reply("230 Hello").callback("onConnected"),
      Scenario("LoginWithAccountAfterUser")
          .reply("220 Ready")
          .expect("USER me")
          .reply("332 Account?")
          .expect("ACCT books")
          .reply("230 Hello")
          .callback("onConnected"),
      Scenario("LoginWithAccountAfterPassword")
          .reply("220 Ready")
          .expect("USER me")
          .reply("331 Password?")
          .expect("PASS secret")
          .reply("332 Account?")
          .expect("ACCT books")
          .reply("202 No need")
          .reply("230 Hello")
          .callback("onConnected"),
      Scenario("LoginAfterAWait")
          .reply("120 Soon")
          .reply("220 Ready")
          .expect("USER me")
          .reply("331 Password?")
          .expect("PASS secret")
          .reply("202 No need")
          .reply("230 Hello")
          .callback("onConnected"),
      Scenario("LoginRefused")
          .reply("220 Ready")
          .expect("USER me")
          .reply("331 Password?")
          .expect("PASS secret")
          .reply("530 Login incorrect."),
      Scenario("LoginRefusedAndOfferedAgain")
          .reply("220 Ready")
          .expect("USER me")
          .reply("530 No")
          .reply("220 Ready")
          .expect("USER me")
          .reply("230 Hello")
          .callback("onConnected"),
      Scenario("ServiceClosedAtOnce").reply("421 Too many users"),
  };
}

/// Greetings and farewells of several lines.
std::vector<Scenario> manyLines() {
  return {
      Scenario("Vsftpd")
          .runs({"PWD", "QUIT"})
          .reply("220 (vsFTPd 3.0.3)")
          .expect("USER me")
          .reply("331 Please specify the password.")
          .expect("PASS secret")
          .reply("230-Welcome to the archive.\r\n230-")
          .callback("onConnected")
          .reply("230 Login successful.")
          .expect("PWD")
          .reply("257 \"/\" is the current directory")
          .callback("onPwd /")
          .expect("QUIT")
          .reply("221 Goodbye."),
      Scenario("ProFtpd")
          .runs({"CWD pub", "QUIT"})
          .reply("220 ProFTPD Server (Debian) [127.0.0.1]")
          .expect("USER me")
          .reply("331 Password required for me")
          .expect("PASS secret")
          .reply("230-Welcome\r\n Rules follow:\r\n   be kind\r\n230 User me logged in")
          .callback("onConnected")
          .expect("CWD pub")
          .reply("250 CWD command successful")
          .callback("onCwd CWD command successful")
          .expect("QUIT")
          .reply("221 Goodbye."),
      Scenario("PureFtpd")
          .runs({"RETR f passive", "QUIT"})
          .reply("220---------- Welcome to Pure-FTPd [privsep] [TLS] ----------\r\n220 You are user number 1 of 50.")
          .reply("220-Local time is now 12:00. Server port: 21.\r\n220-This is a private system\r\n")
          .expect("USER me")
          .reply("331 User me OK. Password required")
          .expect("PASS secret")
          .reply("230 OK. Current directory is /")
          .callback("onConnected")
          .passive()
          .expect("RETR f")
          .reply("150 Accepted data connection")
          .data(wholeFile)
          .endData()
          .reply("226-File successfully transferred\r\n226 0.000 seconds, 20 bytes per second")
          .callback("onRetrieve f | File successfully transferred | " + wholeFile)
          .expect("QUIT")
          .reply("221-Goodbye. You uploaded 0 and downloaded 1 kbytes.\r\n221 Logout."),
      Scenario("FileZilla")
          .runs({"NLST passive", "QUIT"})
          .reply("220-FileZilla Server 1.7.0\r\n220-Please visit us\r\n220 Ready")
          .expect("USER me")
          .reply("331 Please, specify the password.")
          .expect("PASS secret")
          .reply("230 Login successful.")
          .callback("onConnected")
          .passive()
          .expect("NLST")
          .reply("150 Starting data transfer.")
          .data(listing)
          .endData()
          .reply("226 Operation successful")
          .callback("onNlst a,b c | Operation successful")
          .expect("QUIT")
          .reply("221 Goodbye."),
      Scenario("Iis")
          .runs({"CDUP", "QUIT"})
          .reply("220-Microsoft FTP Service\r\n    All use is logged.\r\n220 Ready")
          .expect("USER me")
          .reply("331 Password required")
          .expect("PASS secret")
          .reply("230-Directory has 5,368 bytes of disk space available.\r\n    Hello\r\n230 User logged in.")
          .callback("onConnected")
          .expect("CDUP")
          .reply("200 CDUP command successful.")
          .callback("onCdup CDUP command successful.")
          .expect("QUIT")
          .reply("221 Goodbye."),
      Scenario("ForeignCodeInsideAReply")
          .runs({"PWD"})
          .login()
          .expect("PWD")
          .reply("257-\"/here\" is\r\n226 not the end\r\n  257 nor this\r\n257 the end")
          .callback("onPwd /here"),
  };
}

std::vector<Scenario> directories() {
  return {
      Scenario("Directories")
          .runs({"PWD", "CWD pub", "PWD", "CDUP", "PWD", "QUIT"})
          .login()
          .expect("PWD")
          .reply("257 \"/\" is the current directory")
          .callback("onPwd /")
          .expect("CWD pub")
          .reply("250 Directory successfully changed.")
          .callback("onCwd Directory successfully changed.")
          .expect("PWD")
          .reply("257 \"/pub\"")
          .callback("onPwd /pub")
          .expect("CDUP")
          .reply("200 Up")
          .callback("onCdup Up")
          .expect("PWD")
          .reply("257 \"/")
          .callback("onPwdFailed couldn't parse /")
          .expect("QUIT")
          .reply("221 Bye"),
      Scenario("DirectoriesRefused")
          .runs({"PWD", "CWD nowhere", "CDUP", "QUIT"})
          .login()
          .expect("PWD")
          .reply("550 No")
          .callback("onPwdFailed No")
          .expect("CWD nowhere")
          .reply("550 Failed to change directory.")
          .callback("onCwdFailed Failed to change directory.")
          .expect("CDUP")
          .reply("502 What?")
          .callback("onCdupFailed What?")
          .expect("QUIT")
          .reply("500 What?"),
      Scenario("LogoutByTheServer").runs({"CWD pub"}).login().expect("CWD pub").reply("530 Please log in"),
      Scenario("StrayReplies")
          .runs({"PWD"})
          .login()
          .expect("PWD")
          .reply("226 Nobody asked")
          .reply("nonsense")
          .reply("999 nonsense")
          .reply("257 \"/\"")
          .callback("onPwd /")
          .reply("257 \"/again\""),
  };
}

std::vector<Scenario> listings() {
  return {
      Scenario("PassiveListing")
          .runs({"NLST passive"})
          .login()
          .passive()
          .expect("NLST")
          .reply("150 Here it comes")
          .data(listing)
          .endData()
          .reply("226 Done")
          .callback("onNlst a,b c | Done"),
      Scenario("ActiveListing")
          .runs({"NLST active"})
          .login()
          .active()
          .expect("NLST")
          .reply("125 Here it comes")
          .data(listing)
          .endData()
          .reply("250 Done")
          .callback("onNlst a,b c | Done"),
      Scenario("PassiveListingReplyFirst")
          .runs({"NLST passive"})
          .login()
          .passive()
          .expect("NLST")
          .replyFirst("150 Here it comes\r\n226 Done", listed)
          .data(listing)
          .endData()
          .callback("onNlst a,b c | Done"),
      Scenario("EmptyListing")
          .runs({"NLST passive"})
          .login()
          .passive()
          .expect("NLST")
          .reply("150 Here it comes")
          .endData()
          .reply("226 Done")
          .callback("onNlst  | Done"),
      Scenario("ListingRefused")
          .runs({"NLST passive", "PWD"})
          .login()
          .passive()
          .expect("NLST")
          .reply("450 No files")
          .endData()
          .callback("onNlstFailed No files")
          .expect("PWD")
          .reply("257 \"/\"")
          .callback("onPwd /"),
  };
}

std::vector<Scenario> retrievals() {
  return {
      Scenario("PassiveRetrieval")
          .runs({"RETR f passive"})
          .login()
          .passive()
          .expect("RETR f")
          .reply("150 Here it comes")
          .data(wholeFile)
          .endData()
          .reply("226 Done")
          .callback(retrieved(wholeFile)),
      Scenario("ActiveRetrieval")
          .runs({"RETR f active"})
          .login()
          .active()
          .expect("RETR f")
          .reply("150 Here it comes")
          .data(wholeFile)
          .endData()
          .reply("226 Done")
          .callback(retrieved(wholeFile)),
      Scenario("PassiveRetrievalReplyFirst")
          .runs({"RETR f passive"})
          .login()
          .passive()
          .expect("RETR f")
          .replyFirst("150 Here it comes\r\n226 Done", retrieved)
          .data(wholeFile)
          .endData()
          .callback(retrieved(wholeFile)),
      Scenario("ActiveRetrievalReplyFirst")
          .runs({"RETR f active"})
          .login()
          .active()
          .expect("RETR f")
          .reply("110 MARK 1 = 1")
          .replyFirst("226 Done", retrieved)
          .data(wholeFile)
          .endData()
          .callback(retrieved(wholeFile)),
      Scenario("EmptyFile")
          .runs({"RETR f active"})
          .login()
          .active()
          .expect("RETR f")
          .reply("150 Here it comes")
          .endData()
          .reply("226 Done")
          .callback(retrieved("")),
      Scenario("RetrievalRefused")
          .runs({"RETR f passive", "RETR f active"})
          .login()
          .passive()
          .expect("RETR f")
          .reply("550 No such file")
          .endData()
          .callback("onRetrieveFailed f | No such file")
          .active()
          .expect("RETR f")
          .reply("150 Here it comes")
          .data(wholeFile)
          .endData()
          .reply("226 Done")
          .callback(retrieved(wholeFile)),
      Scenario("NegotiationRefused")
          .runs({"RETR f passive", "RETR f active", "NLST passive", "NLST passive", "NLST passive"})
          .login()
          .expect("PASV")
          .reply("500 No")
          .callback("onRetrieveFailed f | No")
          .expectPort()
          .reply("500 No")
          .callback("onRetrieveFailed f | No")
          .expect("PASV")
          .reply("227 Nowhere")
          .callback("onNlstFailed address not delimited by ()")
          .expect("PASV")
          .reply("227 Entering (a,b)")
          .callback("onNlstFailed couldn't parse a,b")
          .expect("PASV")
          .reply("503 No")
          .callback("onNlstFailed No"),
      Scenario("ServiceClosedInATransfer")
          .runs({"RETR f passive"})
          .login()
          .passive()
          .expect("RETR f")
          .reply("150 Here it comes")
          .data(wholeFile)
          .reply("421 Shutting down"),
  };
}

std::vector<Scenario> wholeSessions() {
  return {
      Scenario("WholeSession")
          .runs({"PWD", "CWD pub", "NLST active", "RETR f active", "RETR f passive", "CDUP", "QUIT"})
          .login()
          .expect("PWD")
          .reply("257 \"/\"")
          .callback("onPwd /")
          .expect("CWD pub")
          .reply("250 Done")
          .callback("onCwd Done")
          .active()
          .expect("NLST")
          .reply("150 Here it comes")
          .data(listing)
          .endData()
          .reply("226 Done")
          .callback("onNlst a,b c | Done")
          .active()
          .expect("RETR f")
          .reply("150 Here it comes")
          .data(wholeFile)
          .endData()
          .reply("226 Done")
          .callback(retrieved(wholeFile))
          .passive()
          .expect("RETR f")
          .reply("150 Here it comes")
          .data(wholeFile)
          .data(wholeFile)
          .endData()
          .reply("226 Done")
          .callback(retrieved(wholeFile + wholeFile))
          .expect("CDUP")
          .reply("200 Done")
          .callback("onCdup Done")
          .expect("QUIT")
          .reply("221 Bye"),
  };
}

}  // namespace

const std::vector<Scenario>& corpus() {
  static const std::vector<Scenario> all = [] {
    std::vector<Scenario> scenarios;
    for (const auto& group : {logins(), manyLines(), directories(), listings(), retrievals(), wholeSessions()})
      scenarios.insert(scenarios.end(), group.begin(), group.end());
    return scenarios;
  }();
  return all;
}

}  // namespace tovik::ftp
