// The folders of the races.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

#include <sys/stat.h>
#include <unistd.h>

#include "tests/races/race.h"

namespace qx_test {

namespace {

namespace fs = std::filesystem;

constexpr const char* canary = "private";

// Names that the steps use, below the private folder.
const std::set<std::string> canaries = {".film.mpg.metadata/metadata",
                                        ".film.mpg.metadata/vod.log",
                                        ".qx-part-0",
                                        ".transcode",
                                        ".vod.metadata",
                                        ".vod.ready",
                                        "copy_pid",
                                        "film.mpg",
                                        "result",
                                        "vod.thumbnail.jpg"};

[[noreturn]] void fail(const std::string& path) {
  std::perror(path.c_str());
  std::_Exit(2);
}

std::string private_path(const std::string& name) {
  return std::string(private_folder) + "/" + name;
}

void empty_folder(const char* path, unsigned mode) {
  fs::remove_all(path);
  make_folder(path, mode);
}

std::set<std::string> files_in_private_folder() {
  std::set<std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(private_folder)) {
    const bool is_known_folder = entry.path().filename() == ".film.mpg.metadata";
    if (!is_known_folder) { files.insert(fs::relative(entry.path(), private_folder)); }
  }
  return files;
}

}  // namespace

void write_text(const std::string& path, const std::string& text) {
  std::ofstream file(path);
  file << text;
  if (!file.flush()) { fail(path); }
}

std::string text_of(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

void make_folder(const std::string& path, unsigned mode) {
  if (mkdir(path.c_str(), 0700) != 0 || chmod(path.c_str(), mode) != 0) { fail(path); }
}

void make_link(const std::string& path, const std::string& target) {
  if (symlink(target.c_str(), path.c_str()) != 0 || lchown(path.c_str(), 65534, 65534) != 0) {
    fail(path);
  }
}

void prepare_folders() {
  fs::create_directories("/mnt/main/tv/fileops");
  for (const char* const path : {open_folder, output_folder, jobs_folder}) {
    empty_folder(path, 0777);
  }
  empty_folder(private_folder, 0755);
  make_folder(private_path(".film.mpg.metadata"));
  for (const std::string& name : canaries) {
    write_text(private_path(name), canary);
    if (chmod(private_path(name).c_str(), 0600) != 0) { fail(name); }
  }
  write_text(private_path("status"), "op=vod\n");
}

bool private_folder_has_changed() {
  std::set<std::string> expected = canaries;
  expected.insert("status");
  if (files_in_private_folder() != expected) { return true; }
  for (const std::string& name : canaries) {
    if (text_of(private_path(name)) != canary) { return true; }
  }
  return text_of(private_path("status")) != "op=vod\n";
}

}  // namespace qx_test
