#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "servers/server_kinds.h"

namespace real_servers {

/// What a listing of a directory without files comes to.
enum class EmptyListing {
  noNames,  // the listing succeeds, without a name
  dots,     // the directory's own entries are in every listing
  refused   // the server answers 550, which the session doesn't take for the end of the listing
};

/// What a refused file comes to.
enum class Refusal {
  reported,    // the server closes the data connection, so the failure comes at once
  limited,     // it leaves the data connection open: the failure comes when the first-byte limit ends it
  neverEnding  // it never opens the data connection, so there is no end of data to wait for
};

/// A server, and what a session with it shows. These are facts about the server; its users read them in
/// docs/servers.md.
struct Peer {
  test_servers::ServerKind kind;
  std::string refusedLogin;               // the text that answers a wrong password or an unknown user
  std::string noSuchFile;                 // the text that answers RETR missing
  std::string (*delivered)(std::string);  // what becomes of a file
  bool straysAfterFiles;                  // its last reply to a file with content reads as two, the second a stray
  EmptyListing emptyListing;
  Refusal passiveRefusal;
  Refusal activeRefusal;
};

std::vector<Peer> peers();

/// Ways to deliver a file.
std::string asItIs(std::string content);
std::string everyLineFeedAfterAReturn(std::string content);  // even where there is one already
std::string everyBareLineFeedAfterAReturn(std::string content);

inline void PrintTo(const Peer& peer, std::ostream* out) { *out << peer.kind.name; }

}  // namespace real_servers
