// Gives a fuzzer its seeds, every truncation of each, and each with every byte at its extremes: the fuzzers
// as ordinary tests. "fuzz_corpora NAME DIRECTORY".
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#define FUZZER(name) extern "C" int name(const std::uint8_t* data, std::size_t size);
#include "fuzzers.inc"
#undef FUZZER

namespace {

using Fuzzer = int (*)(const std::uint8_t*, std::size_t);
using Bytes = std::vector<std::uint8_t>;

/// Seeds may be larger, but only so many of their bytes are changed.
constexpr std::size_t changedBytes = 400;

Fuzzer find(const char* wanted) {
#define FUZZER(name) \
  if (std::strcmp(wanted, #name) == 0) return name;
#include "fuzzers.inc"
#undef FUZZER
  return nullptr;
}

unsigned long run(Fuzzer fuzzer, const Bytes& seed) {
  unsigned long runs = 0;
  const auto give = [&](const Bytes& input) {
    // A copy of its own size, so that a read beyond the end is seen.
    const Bytes exact(input);
    fuzzer(exact.data(), exact.size());
    ++runs;
  };
  give(seed);
  const std::size_t changed = std::min(seed.size(), changedBytes);
  for (std::size_t at = 0; at < changed; ++at) {
    give(Bytes(seed.begin(), seed.begin() + static_cast<std::ptrdiff_t>(at)));
    for (const std::uint8_t value : std::initializer_list<std::uint8_t>{0x00, 0x7F, 0x80, 0xFF}) {
      Bytes input = seed;
      input[at] = value;
      give(input);
    }
  }
  return runs;
}

}  // namespace

int main(int count, char** arguments) {
  const Fuzzer fuzzer = count == 3 ? find(arguments[1]) : nullptr;
  if (fuzzer == nullptr || !std::filesystem::is_directory(arguments[2])) {
    std::puts("Usage: fuzz_corpora FUZZER DIRECTORY");
    return 2;
  }
  unsigned long runs = 0;
  for (const auto& entry : std::filesystem::directory_iterator(arguments[2])) {
    std::ifstream file(entry.path(), std::ios::binary);
    runs += run(fuzzer, Bytes(std::istreambuf_iterator<char>(file), {}));
  }
  std::printf("%lu inputs\n", runs);
  return runs > 0 ? 0 : 1;
}
