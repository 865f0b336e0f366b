#include "tests/support/files.h"

#include <filesystem>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

namespace qx_test {

namespace {

std::vector<std::string> split(const std::string& text, char separator) {
  std::vector<std::string> pieces;
  std::istringstream stream(text);
  for (std::string piece; std::getline(stream, piece, separator);) {
    pieces.push_back(piece);
  }
  return pieces;
}

}  // namespace

bool exists(const std::string& path) {
  std::error_code error;
  return std::filesystem::exists(std::filesystem::symlink_status(path, error));
}

std::string read_file(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  std::ostringstream content;
  content << stream.rdbuf();
  return content.str();
}

void write_file(const std::string& path, std::string_view content) {
  std::error_code error;
  std::filesystem::create_directories(std::filesystem::path(path).parent_path(), error);
  std::ofstream stream(path, std::ios::binary | std::ios::trunc);
  stream.write(content.data(), static_cast<std::streamsize>(content.size()));
  stream.close();
  EXPECT_TRUE(stream.good()) << "cannot write " << path;
}

std::vector<std::string> lines_of(const std::string& text) {
  return split(text, '\n');
}

std::vector<std::string> split_at_nul(const std::string& text) {
  return split(text, '\0');
}

}  // namespace qx_test
