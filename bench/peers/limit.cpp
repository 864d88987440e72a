#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <vector>

#include "peers/dialogue.h"
#include "peers/timed_files.h"
#include "works.h"

namespace bench::peers {
namespace {

constexpr std::size_t readSize = 256UL * 1024;
constexpr std::size_t hugePage = 2UL * 1024 * 1024;

void adviseHugePages(const std::string& text) {
  if (text.capacity() < hugePage) return;
  const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  const auto begin = reinterpret_cast<std::uintptr_t>(text.data()) & ~(page - 1);
  const auto end = reinterpret_cast<std::uintptr_t>(text.data()) + text.capacity();
  madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
}

}  // namespace

Figures limitFiles(const Job& job) {
  Dialogue dialogue(job);
  std::vector<char> buffer(readSize);
  Figures figures = timedFiles(job, [&](std::string& content) {
    content.reserve(job.size);
    adviseHugePages(content);
    dialogue.retrieve([&](const Connection& data) {
      while (const auto size = data.receive(buffer.data(), buffer.size())) content.append(buffer.data(), size);
    });
  });
  dialogue.logOut();
  return figures;
}

Figures discardFiles(const Job& job) {
  Dialogue dialogue(job);
  std::vector<char> buffer(readSize);
  const Meter meter;
  for (unsigned long i = 0; i < job.count; ++i) {
    std::size_t all = 0;
    dialogue.retrieve([&](const Connection& data) {
      while (const auto size = data.receive(buffer.data(), buffer.size())) all += size;
    });
    if (all != job.size) throw std::runtime_error(job.file + " has the wrong size");
  }
  Figures figures;
  meter.stop(figures);
  dialogue.logOut();
  return figures;
}

}  // namespace bench::peers
