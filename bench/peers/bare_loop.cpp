#include <array>

#include "peers/dialogue.h"
#include "peers/timed_files.h"
#include "works.h"

namespace bench::peers {

Figures bareFiles(const Job& job) {
  Dialogue dialogue(job);
  std::array<char, 65536> buffer;
  Figures figures = timedFiles(job, [&](std::string& content) {
    dialogue.retrieve([&](const Connection& data) {
      while (const auto size = data.receive(buffer.data(), buffer.size())) content.append(buffer.data(), size);
    });
  });
  dialogue.logOut();
  return figures;
}

}  // namespace bench::peers
