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
      Scenario("LoginWithoutPassword").say("220 Ready").hear("USER me").say("230 Hello").told("onConnected"),
      Scenario("LoginWithAccountAfterUser")
          .say("220 Ready")
          .hear("USER me")
          .say("332 Account?")
          .hear("ACCT books")
          .say("230 Hello")
          .told("onConnected"),
      Scenario("LoginWithAccountAfterPassword")
          .say("220 Ready")
          .hear("USER me")
          .say("331 Password?")
          .hear("PASS secret")
          .say("332 Account?")
          .hear("ACCT books")
          .say("202 No need")
          .say("230 Hello")
          .told("onConnected"),
      Scenario("LoginAfterAWait")
          .say("120 Soon")
          .say("220 Ready")
          .hear("USER me")
          .say("331 Password?")
          .hear("PASS secret")
          .say("202 No need")
          .say("230 Hello")
          .told("onConnected"),
      Scenario("LoginRefused")
          .say("220 Ready")
          .hear("USER me")
          .say("331 Password?")
          .hear("PASS secret")
          .say("530 Login incorrect."),
      Scenario("LoginRefusedAndOfferedAgain")
          .say("220 Ready")
          .hear("USER me")
          .say("530 No")
          .say("220 Ready")
          .hear("USER me")
          .say("230 Hello")
          .told("onConnected"),
      Scenario("ServiceClosedAtOnce").say("421 Too many users"),
  };
}

/// Greetings and farewells of several lines.
std::vector<Scenario> manyLines() {
  return {
      Scenario("Vsftpd")
          .asks({"PWD", "QUIT"})
          .say("220 (vsFTPd 3.0.3)")
          .hear("USER me")
          .say("331 Please specify the password.")
          .hear("PASS secret")
          .say("230-Welcome to the archive.\r\n230-")
          .told("onConnected")
          .say("230 Login successful.")
          .hear("PWD")
          .say("257 \"/\" is the current directory")
          .told("onPwd /")
          .hear("QUIT")
          .say("221 Goodbye."),
      Scenario("ProFtpd")
          .asks({"CWD pub", "QUIT"})
          .say("220 ProFTPD Server (Debian) [127.0.0.1]")
          .hear("USER me")
          .say("331 Password required for me")
          .hear("PASS secret")
          .say("230-Welcome\r\n Rules follow:\r\n   be kind\r\n230 User me logged in")
          .told("onConnected")
          .hear("CWD pub")
          .say("250 CWD command successful")
          .told("onCwd CWD command successful")
          .hear("QUIT")
          .say("221 Goodbye."),
      Scenario("PureFtpd")
          .asks({"RETR f passive", "QUIT"})
          .say("220---------- Welcome to Pure-FTPd [privsep] [TLS] ----------\r\n220 You are user number 1 of 50.")
          .say("220-Local time is now 12:00. Server port: 21.\r\n220-This is a private system\r\n")
          .hear("USER me")
          .say("331 User me OK. Password required")
          .hear("PASS secret")
          .say("230 OK. Current directory is /")
          .told("onConnected")
          .passive()
          .hear("RETR f")
          .say("150 Accepted data connection")
          .data(wholeFile)
          .endData()
          .say("226-File successfully transferred\r\n226 0.000 seconds, 20 bytes per second")
          .told("onRetrieve f | File successfully transferred | " + wholeFile)
          .hear("QUIT")
          .say("221-Goodbye. You uploaded 0 and downloaded 1 kbytes.\r\n221 Logout."),
      Scenario("FileZilla")
          .asks({"NLST passive", "QUIT"})
          .say("220-FileZilla Server 1.7.0\r\n220-Please visit us\r\n220 Ready")
          .hear("USER me")
          .say("331 Please, specify the password.")
          .hear("PASS secret")
          .say("230 Login successful.")
          .told("onConnected")
          .passive()
          .hear("NLST")
          .say("150 Starting data transfer.")
          .data(listing)
          .endData()
          .say("226 Operation successful")
          .told("onNlst a,b c | Operation successful")
          .hear("QUIT")
          .say("221 Goodbye."),
      Scenario("Iis")
          .asks({"CDUP", "QUIT"})
          .say("220-Microsoft FTP Service\r\n    All use is logged.\r\n220 Ready")
          .hear("USER me")
          .say("331 Password required")
          .hear("PASS secret")
          .say("230-Directory has 5,368 bytes of disk space available.\r\n    Hello\r\n230 User logged in.")
          .told("onConnected")
          .hear("CDUP")
          .say("200 CDUP command successful.")
          .told("onCdup CDUP command successful.")
          .hear("QUIT")
          .say("221 Goodbye."),
      Scenario("ForeignCodeInsideAReply")
          .asks({"PWD"})
          .login()
          .hear("PWD")
          .say("257-\"/here\" is\r\n226 not the end\r\n  257 nor this\r\n257 the end")
          .told("onPwd /here"),
  };
}

std::vector<Scenario> directories() {
  return {
      Scenario("Directories")
          .asks({"PWD", "CWD pub", "PWD", "CDUP", "PWD", "QUIT"})
          .login()
          .hear("PWD")
          .say("257 \"/\" is the current directory")
          .told("onPwd /")
          .hear("CWD pub")
          .say("250 Directory successfully changed.")
          .told("onCwd Directory successfully changed.")
          .hear("PWD")
          .say("257 \"/pub\"")
          .told("onPwd /pub")
          .hear("CDUP")
          .say("200 Up")
          .told("onCdup Up")
          .hear("PWD")
          .say("257 \"/")
          .told("onPwdFailed couldn't parse /")
          .hear("QUIT")
          .say("221 Bye"),
      Scenario("DirectoriesRefused")
          .asks({"PWD", "CWD nowhere", "CDUP", "QUIT"})
          .login()
          .hear("PWD")
          .say("550 No")
          .told("onPwdFailed No")
          .hear("CWD nowhere")
          .say("550 Failed to change directory.")
          .told("onCwdFailed Failed to change directory.")
          .hear("CDUP")
          .say("502 What?")
          .told("onCdupFailed What?")
          .hear("QUIT")
          .say("500 What?"),
      Scenario("LogoutByTheServer").asks({"CWD pub"}).login().hear("CWD pub").say("530 Please log in"),
      Scenario("StrayReplies")
          .asks({"PWD"})
          .login()
          .hear("PWD")
          .say("226 Nobody asked")
          .say("nonsense")
          .say("999 nonsense")
          .say("257 \"/\"")
          .told("onPwd /")
          .say("257 \"/again\""),
  };
}

std::vector<Scenario> listings() {
  return {
      Scenario("PassiveListing")
          .asks({"NLST passive"})
          .login()
          .passive()
          .hear("NLST")
          .say("150 Here it comes")
          .data(listing)
          .endData()
          .say("226 Done")
          .told("onNlst a,b c | Done"),
      Scenario("ActiveListing")
          .asks({"NLST active"})
          .login()
          .active()
          .hear("NLST")
          .say("125 Here it comes")
          .data(listing)
          .endData()
          .say("250 Done")
          .told("onNlst a,b c | Done"),
      Scenario("PassiveListingReplyFirst")
          .asks({"NLST passive"})
          .login()
          .passive()
          .hear("NLST")
          .sayFirst("150 Here it comes\r\n226 Done", listed)
          .data(listing)
          .endData()
          .told("onNlst a,b c | Done"),
      Scenario("EmptyListing")
          .asks({"NLST passive"})
          .login()
          .passive()
          .hear("NLST")
          .say("150 Here it comes")
          .endData()
          .say("226 Done")
          .told("onNlst  | Done"),
      Scenario("ListingRefused")
          .asks({"NLST passive", "PWD"})
          .login()
          .passive()
          .hear("NLST")
          .say("450 No files")
          .endData()
          .told("onNlstFailed No files")
          .hear("PWD")
          .say("257 \"/\"")
          .told("onPwd /"),
  };
}

std::vector<Scenario> retrievals() {
  return {
      Scenario("PassiveRetrieval")
          .asks({"RETR f passive"})
          .login()
          .passive()
          .hear("RETR f")
          .say("150 Here it comes")
          .data(wholeFile)
          .endData()
          .say("226 Done")
          .told(retrieved(wholeFile)),
      Scenario("ActiveRetrieval")
          .asks({"RETR f active"})
          .login()
          .active()
          .hear("RETR f")
          .say("150 Here it comes")
          .data(wholeFile)
          .endData()
          .say("226 Done")
          .told(retrieved(wholeFile)),
      Scenario("PassiveRetrievalReplyFirst")
          .asks({"RETR f passive"})
          .login()
          .passive()
          .hear("RETR f")
          .sayFirst("150 Here it comes\r\n226 Done", retrieved)
          .data(wholeFile)
          .endData()
          .told(retrieved(wholeFile)),
      Scenario("ActiveRetrievalReplyFirst")
          .asks({"RETR f active"})
          .login()
          .active()
          .hear("RETR f")
          .say("110 MARK 1 = 1")
          .sayFirst("226 Done", retrieved)
          .data(wholeFile)
          .endData()
          .told(retrieved(wholeFile)),
      Scenario("EmptyFile")
          .asks({"RETR f active"})
          .login()
          .active()
          .hear("RETR f")
          .say("150 Here it comes")
          .endData()
          .say("226 Done")
          .told(retrieved("")),
      Scenario("RetrievalRefused")
          .asks({"RETR f passive", "RETR f active"})
          .login()
          .passive()
          .hear("RETR f")
          .say("550 No such file")
          .endData()
          .told("onRetrieveFailed f | No such file")
          .active()
          .hear("RETR f")
          .say("150 Here it comes")
          .data(wholeFile)
          .endData()
          .say("226 Done")
          .told(retrieved(wholeFile)),
      Scenario("NegotiationRefused")
          .asks({"RETR f passive", "RETR f active", "NLST passive", "NLST passive", "NLST passive"})
          .login()
          .hear("PASV")
          .say("500 No")
          .told("onRetrieveFailed f | No")
          .hearPort()
          .say("500 No")
          .told("onRetrieveFailed f | No")
          .hear("PASV")
          .say("227 Nowhere")
          .told("onNlstFailed address not delimited by ()")
          .hear("PASV")
          .say("227 Entering (a,b)")
          .told("onNlstFailed couldn't parse a,b")
          .hear("PASV")
          .say("503 No")
          .told("onNlstFailed No"),
      Scenario("ServiceClosedInATransfer")
          .asks({"RETR f passive"})
          .login()
          .passive()
          .hear("RETR f")
          .say("150 Here it comes")
          .data(wholeFile)
          .say("421 Shutting down"),
  };
}

std::vector<Scenario> wholeSessions() {
  return {
      Scenario("WholeSession")
          .asks({"PWD", "CWD pub", "NLST active", "RETR f active", "RETR f passive", "CDUP", "QUIT"})
          .login()
          .hear("PWD")
          .say("257 \"/\"")
          .told("onPwd /")
          .hear("CWD pub")
          .say("250 Done")
          .told("onCwd Done")
          .active()
          .hear("NLST")
          .say("150 Here it comes")
          .data(listing)
          .endData()
          .say("226 Done")
          .told("onNlst a,b c | Done")
          .active()
          .hear("RETR f")
          .say("150 Here it comes")
          .data(wholeFile)
          .endData()
          .say("226 Done")
          .told(retrieved(wholeFile))
          .passive()
          .hear("RETR f")
          .say("150 Here it comes")
          .data(wholeFile)
          .data(wholeFile)
          .endData()
          .say("226 Done")
          .told(retrieved(wholeFile + wholeFile))
          .hear("CDUP")
          .say("200 Done")
          .told("onCdup Done")
          .hear("QUIT")
          .say("221 Bye"),
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
