// A folder of the test's own.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

namespace qx_test {

// Created when the test begins, and removed with its contents when it ends.
class test_folder {
public:
  test_folder() {
    char name[] = "/tmp/qx_platform.XXXXXX";
    path_ = mkdtemp(name) != nullptr ? name : "";
  }
  ~test_folder() {
    std::error_code error;
    if (!path_.empty()) { std::filesystem::remove_all(path_, error); }
  }
  test_folder(const test_folder&) = delete;
  test_folder& operator=(const test_folder&) = delete;

  const std::string& path() const { return path_; }
  std::string file(const std::string& name) const { return path_ + "/" + name; }

private:
  std::string path_;
};

}  // namespace qx_test
