// Replays fuzz inputs without libFuzzer: each argument is a file or a folder
// of files, each file one input. An argument "random:N:BYTES" adds N inputs
// of BYTES pseudo-random bytes, the same on every run:
// long operation sequences that a minimised corpus leaves out. Any failure
// aborts inside the target.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size);

namespace {

void Replay(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::vector<char> bytes((std::istreambuf_iterator<char>(in)),
                          std::istreambuf_iterator<char>());
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                         bytes.size());
}

// N inputs of `bytes` bytes each; returns N.
int ReplayRandom(const std::string& argument) {
  const std::size_t colon = argument.find(':', 7);
  const int count = std::stoi(argument.substr(7, colon - 7));
  const std::size_t bytes = std::stoul(argument.substr(colon + 1));
  std::mt19937 random(20261123);
  std::vector<std::uint8_t> input(bytes);
  for (int n = 0; n < count; ++n) {
    for (std::uint8_t& b : input) b = static_cast<std::uint8_t>(random());
    LLVMFuzzerTestOneInput(input.data(), input.size());
  }
  return count;
}

}  // namespace

int main(int argc, char** argv) {
  int count = 0;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument.rfind("random:", 0) == 0) {
      count += ReplayRandom(argument);
      continue;
    }
    std::filesystem::path path(argument);
    if (std::filesystem::is_directory(path)) {
      for (const auto& entry : std::filesystem::directory_iterator(path)) {
        if (!entry.is_regular_file()) continue;
        Replay(entry.path());
        ++count;
      }
    } else {
      Replay(path);
      ++count;
    }
  }
  std::printf("%d inputs replayed\n", count);
  return count > 0 ? 0 : 1;
}
