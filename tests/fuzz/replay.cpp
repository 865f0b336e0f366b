// Runs a fuzz target without libFuzzer:
//   replay               every seed, and five thousand variations of each, the same ones every time
//   replay PATH...       inputs in files and folders, such as those that libFuzzer found
//   replay --all FOLDER  both, with the inputs in the folder if there is one
//   replay --seeds DIR   writes the seeds there
#include <algorithm>
#include <filesystem>
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

int run_file(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    std::fprintf(stderr, "replay: cannot read %s\n", path.c_str());
    return 1;
  }
  run({std::istreambuf_iterator<char>(file), {}});
  return 0;
}

int run_path(const std::filesystem::path& path) {
  if (!std::filesystem::is_directory(path)) { return run_file(path); }
  int status = 0;
  for (const auto& entry : std::filesystem::directory_iterator(path)) {
    status = std::max(status, run_file(entry.path()));
  }
  return status;
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
  const std::vector<std::string> words(argv + 1, argv + argc);
  if (words.size() == 2 && words[0] == "--seeds") { return write_seeds(words[1]); }
  if (words.empty() || words[0] == "--all") { run_seeds_and_variations(); }
  int status = 0;
  for (const std::string& word : words) {
    const bool is_input = word != "--all" && (words[0] != "--all" || std::filesystem::exists(word));
    status = is_input ? std::max(status, run_path(word)) : status;
  }
  return status;
}
