#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzzer.h"

// Replaces libFuzzer: runs the fuzzer with every file in the given directories, in the order of their names.

namespace {

std::vector<std::filesystem::path> filesIn(const char* directory) {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(directory))
    if (entry.is_regular_file()) files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  return files;
}

void replay(const std::filesystem::path& file) {
  // Printed before the run, so that the last line names the input of a crash.
  std::fprintf(stderr, "%s\n", file.filename().c_str());
  std::ifstream stream(file, std::ios::binary);
  fuzz::require(stream.is_open(), "the input can be read");
  const std::vector<char> bytes{std::istreambuf_iterator<char>(stream), {}};
  // Copied to a block of exactly this size, so that AddressSanitizer sees a read past the end.
  const std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
  LLVMFuzzerTestOneInput(input.data(), input.size());
}

}  // namespace

int main(int argumentCount, char** arguments) {
  std::size_t runs = 0;
  for (int i = 1; i < argumentCount; ++i) {
    for (const auto& file : filesIn(arguments[i])) {
      replay(file);
      ++runs;
    }
  }
  fuzz::require(runs > 0, "there are inputs to run");
  std::printf("%zu inputs\n", runs);
}
