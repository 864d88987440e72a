#pragma once

#include <filesystem>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "real_server.h"

namespace test_servers {

/// A kind of server that a suite runs against, set up as a client that chooses no type of transfer wants it.
struct ServerKind {
  std::string name;  // letters and digits alone
  bool rootOnly;     // nobody else can start it
  std::unique_ptr<RealServer> (*make)(const std::filesystem::path& root);

  bool startable() const;
};

/// All of them.
std::vector<ServerKind> serverKinds();

inline void PrintTo(const ServerKind& kind, std::ostream* out) { *out << kind.name; }

}  // namespace test_servers
