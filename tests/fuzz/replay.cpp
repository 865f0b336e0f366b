// Runs a fuzz target without libFuzzer:
//   replay               every seed, and five thousand variations of each, the same ones every time
//   replay FILE...       inputs in files, such as those that libFuzzer found
//   replay --seeds DIR   writes the seeds there
#include <algorithm>
#include <fstream>
#include <iterator>
#include <random>

#include "tests/fuzz/fuzz_target.h"

namespace {

constexpr int variations = 5000;

void run(const std::string& input) {
  // A copy of the exact size, so that AddressSanitizer sees a read past the end.
  const std::vector<std::uint8_t> bytes(input.begin(), input.end());
  LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

class variation_maker {
public:
  explicit variation_maker(std::vector<std::string> seeds) : seeds_(std::move(seeds)) {}

  std::string vary(std::string text) {
    for (std::size_t i = pick(4) + 1; i > 0; --i) {
      change(text);
    }
    return text;
  }

private:
  std::size_t pick(std::size_t below) { return random_() % below; }

  void change(std::string& text) {
    const std::size_t at = pick(text.size() + 1);
    const std::size_t length = std::min(pick(16), text.size() - at);
    const std::string& other = seeds_[pick(seeds_.size())];
    switch (pick(5)) {
    case 0:
      text.erase(at, length);
      break;
    case 1:
      text.insert(at, text.substr(at, length));
      break;
    case 2:
      text.insert(at, other, pick(other.size() + 1), pick(64));
      break;
    case 3:
      text.resize(at);
      break;
    default:
      if (at < text.size()) { text[at] = static_cast<char>(pick(256)); }
    }
  }

  std::vector<std::string> seeds_;
  std::mt19937 random_{20260101};
};

int write_seeds(const std::string& folder) {
  int count = 0;
  for (const auto& seed : fuzz_seeds()) {
    std::ofstream file(folder + "/seed" + std::to_string(count++), std::ios::binary);
    if (!(file << seed).flush()) {
      std::fprintf(stderr, "replay: cannot write to %s\n", folder.c_str());
      return 1;
    }
  }
  return 0;
}

int run_file(const char* path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    std::fprintf(stderr, "replay: cannot read %s\n", path);
    return 1;
  }
  run({std::istreambuf_iterator<char>(file), {}});
  return 0;
}

void run_seeds_and_variations() {
  variation_maker maker(fuzz_seeds());
  for (const auto& seed : fuzz_seeds()) {
    run(seed);
    for (int i = 0; i < variations; ++i) {
      run(maker.vary(seed));
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3 && argv[1] == std::string("--seeds")) { return write_seeds(argv[2]); }
  int status = 0;
  for (int i = 1; i < argc; ++i) {
    status = std::max(status, run_file(argv[i]));
  }
  if (argc == 1) { run_seeds_and_variations(); }
  return status;
}
