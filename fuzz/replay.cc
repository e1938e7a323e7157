// Runs a fuzz target without a fuzzer: on every file of the given folders, or on the given files,
// and on mutants of each that are the same in every run.
//
//   fuzz_NAME [--mutants N] FOLDER|FILE…
//
// The input in work is kept in the file that PV_FUZZ_LAST names, when it is set, so that the one
// that killed the target can be given to it again.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(file), {});
}

// A few small changes, as damage and hostile hands make them.
Bytes Mutant(Bytes bytes, std::mt19937* random) {
  const auto below = [random](std::size_t n) { return static_cast<std::size_t>((*random)() % n); };
  static constexpr std::uint8_t kTelling[] = {0, 1, 0x7F, 0x80, 0xFF, ' ', '"', '\n'};
  for (std::size_t changes = 1 + below(4); changes > 0; --changes) {
    const std::size_t at = bytes.empty() ? 0 : below(bytes.size());
    const auto place = bytes.begin() + static_cast<std::ptrdiff_t>(at);
    switch (bytes.empty() ? 4 : below(6)) {
      case 0:
        *place = static_cast<std::uint8_t>(*place ^ (1U << below(8)));
        break;
      case 1:
        *place = kTelling[below(std::size(kTelling))];
        break;
      case 2:
        bytes.resize(at);
        break;
      case 3:
        bytes.erase(
            place, place + static_cast<std::ptrdiff_t>(std::min(1 + below(16), bytes.size() - at)));
        break;
      case 4:
        bytes.insert(place, 1 + below(16), kTelling[below(std::size(kTelling))]);
        break;
      default: {
        const Bytes piece(
            place, place + static_cast<std::ptrdiff_t>(std::min(1 + below(64), bytes.size() - at)));
        bytes.insert(bytes.begin() + static_cast<std::ptrdiff_t>(below(bytes.size())),
                     piece.begin(), piece.end());
      }
    }
  }
  return bytes;
}

void RunOn(const Bytes& bytes) {
  if (const char* last = std::getenv("PV_FUZZ_LAST")) {
    std::ofstream(last, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
  }
  // A copy of its exact size, so that reading past its end is seen.
  const auto copy = std::make_unique<std::uint8_t[]>(bytes.size());
  if (!bytes.empty()) std::memcpy(copy.get(), bytes.data(), bytes.size());
  LLVMFuzzerTestOneInput(copy.get(), bytes.size());
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::filesystem::path> files;
  unsigned mutants = 0;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--mutants") == 0 && i + 1 < argc) {
      mutants = static_cast<unsigned>(std::strtoul(argv[++i], nullptr, 10));
    } else if (std::filesystem::is_directory(argv[i])) {
      for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
        files.push_back(entry.path());
      }
    } else {
      files.emplace_back(argv[i]);
    }
  }
  std::sort(files.begin(), files.end());
  if (files.empty()) {
    std::fprintf(stderr, "There is no input to run on.\n");
    return 2;
  }
  std::mt19937 random(1);
  for (const auto& path : files) {
    const Bytes bytes = ReadFile(path);
    RunOn(bytes);
    for (unsigned n = 0; n < mutants; ++n) RunOn(Mutant(bytes, &random));
  }
  std::printf("%zu inputs and %u mutants of each\n", files.size(), mutants);
  return 0;
}
