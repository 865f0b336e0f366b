#include "tests/support/checkpoint/segment_files.h"

#include <algorithm>
#include <filesystem>
#include <vector>

namespace qx_test {

namespace fs = std::filesystem;

// NAME.SUM.sum
constexpr std::size_t ending = 1 + 16 + 4;

std::string record_of(const std::string& path) {
  std::vector<std::string> found;
  for (const fs::directory_entry& entry : fs::directory_iterator(fs::path(path).parent_path())) {
    const std::string record = entry.path();
    if (record.size() == path.size() + ending && record.rfind(path + ".", 0) == 0 &&
        entry.path().extension() == ".sum") {
      found.push_back(record);
    }
  }
  const auto first = std::min_element(found.begin(), found.end());
  return first == found.end() ? std::string() : *first;
}

std::string record_for(const std::string& record, const std::string& target) {
  return target + record.substr(record.size() - ending);
}

void copy_with_record(const std::string& path, const std::string& target) {
  const std::string record = record_of(path);
  fs::copy_file(path, target, fs::copy_options::overwrite_existing);
  fs::copy_file(record, record_for(record, target), fs::copy_options::overwrite_existing);
}

}  // namespace qx_test
