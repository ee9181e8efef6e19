// Runs a fuzz target's entry point over files and directories of inputs, so
// that the seed corpus is replayed by the ordinary test run without libFuzzer.
// Usage: replay PATH...   Exit status 1 when no input was found.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

void replayFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::vector<char> contents((std::istreambuf_iterator<char>(file)),
                                   std::istreambuf_iterator<char>());
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(contents.data()), contents.size());
}

}  // namespace

int main(int argc, char** argv) {
  std::size_t replayed = 0;
  for (int i = 1; i < argc; ++i) {
    const std::filesystem::path root(argv[i]);
    if (std::filesystem::is_directory(root)) {
      for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
        if (!entry.is_regular_file()) continue;
        replayFile(entry.path());
        ++replayed;
      }
    } else if (std::filesystem::is_regular_file(root)) {
      replayFile(root);
      ++replayed;
    }
  }
  std::cout << "replayed " << replayed << " input(s)\n";
  return replayed == 0 ? 1 : 0;
}
