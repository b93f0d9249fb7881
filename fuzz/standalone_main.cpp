// Runs a fuzz target without libFuzzer: every seed of the corpus folders or
// files named on the command line, then a fixed number of deterministic
// mutations of them (bit flips, truncations, byte insertions and overwrites
// from a fixed-seed generator). Usage: target [-mutations=N] corpus...
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace {

using Bytes = std::vector<uint8_t>;

Bytes Load(const std::filesystem::path &path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void Run(const Bytes &input) {
  static const uint8_t kEmpty = 0;
  LLVMFuzzerTestOneInput(input.empty() ? &kEmpty : input.data(), input.size());
}

// splitmix64: the same sequence on every run.
struct Generator {
  uint64_t state = 0x5EEDF00DCAFEULL;
  uint64_t Next() {
    uint64_t z = (state += 0x9E3779B97F4A7C15ULL);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
    return z ^ (z >> 31);
  }
  size_t Below(size_t bound) { return bound == 0 ? 0 : static_cast<size_t>(Next() % bound); }
};

void Mutate(Bytes &input, Generator &random) {
  static constexpr uint8_t kInteresting[] = {0x00, 0x01, 0x7F, 0x80, 0xFF};
  int steps = 1 + static_cast<int>(random.Below(4));
  for (int i = 0; i < steps; ++i) {
    switch (random.Below(4)) {
      case 0:
        if (!input.empty()) input[random.Below(input.size())] ^= static_cast<uint8_t>(1u << random.Below(8));
        break;
      case 1: input.resize(random.Below(input.size() + 1)); break;
      case 2:
        input.insert(input.begin() + static_cast<long>(random.Below(input.size() + 1)),
                     static_cast<uint8_t>(random.Next()));
        break;
      default:
        if (!input.empty()) input[random.Below(input.size())] = kInteresting[random.Below(sizeof kInteresting)];
        break;
    }
  }
}

}  // namespace

int main(int argc, char **argv) {
  long mutations = 3000;
  std::vector<Bytes> seeds;
  for (int i = 1; i < argc; ++i) {
    if (std::strncmp(argv[i], "-mutations=", 11) == 0) {
      mutations = std::strtol(argv[i] + 11, nullptr, 10);
      continue;
    }
    std::filesystem::path path(argv[i]);
    std::vector<std::filesystem::path> files;
    if (std::filesystem::is_directory(path)) {
      for (const auto &entry : std::filesystem::directory_iterator(path)) {
        if (entry.is_regular_file()) files.push_back(entry.path());
      }
      std::sort(files.begin(), files.end());
    } else if (std::filesystem::exists(path)) {
      files.push_back(path);
    } else {
      std::fprintf(stderr, "No corpus at %s\n", argv[i]);
    }
    for (const auto &file : files) seeds.push_back(Load(file));
  }
  if (seeds.empty()) seeds.emplace_back();
  for (const Bytes &seed : seeds) Run(seed);
  Generator random;
  for (long i = 0; i < mutations; ++i) {
    Bytes input = seeds[random.Below(seeds.size())];
    Mutate(input, random);
    Run(input);
  }
  std::printf("%zu seeds and %ld mutations run\n", seeds.size(), mutations);
  return 0;
}
