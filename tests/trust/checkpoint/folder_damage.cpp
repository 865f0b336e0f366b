#include "tests/trust/checkpoint/folder_damage.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <sys/stat.h>

#include "tests/support/checkpoint/segment_files.h"
#include "tests/trust/trial.h"
#include "tools/qxmi_vod_transcode/content_sum.h"

namespace qx_test {

namespace {

namespace fs = std::filesystem;
using path_list = std::vector<std::string>;

std::string name_of(const std::string& path) {
  return fs::path(path).filename();
}

// With its record.
bool is_segment(const std::string& path) {
  const std::string ending = fs::path(path).extension();
  return (ending == ".mp4" || ending == ".adts") && fs::is_regular_file(record_of(path));
}

path_list files_in(const std::string& folder) {
  path_list files;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    if (entry.is_regular_file()) { files.push_back(entry.path()); }
  }
  std::sort(files.begin(), files.end());
  return files;
}

path_list segments_in(const std::string& folder) {
  path_list files = files_in(folder);
  files.erase(std::remove_if(files.begin(), files.end(),
                             [](const std::string& path) { return !is_segment(path); }),
              files.end());
  return files;
}

const std::string& any_of(const path_list& paths) {
  return paths[random_below(static_cast<unsigned>(paths.size()))];
}

void overwrite(const std::string& path, const std::string& bytes) {
  const auto size = static_cast<unsigned>(fs::file_size(path));
  std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
  file.seekp(size == 0 ? 0 : random_below(size));
  file << bytes;
}

void replace_by(const std::string& path, const std::string& source) {
  fs::copy_file(source, path, fs::copy_options::overwrite_existing);
}

std::string lose(const std::string& folder) {
  const std::string file = any_of(files_in(folder));
  fs::remove(file);
  return "the loss of " + name_of(file);
}

std::string cut_off(const std::string& folder) {
  const std::string file = any_of(files_in(folder));
  const auto size = static_cast<unsigned>(fs::file_size(file));
  fs::resize_file(file, size == 0 ? 0 : random_below(size));
  return "the end of " + name_of(file) + " is lost";
}

std::string zero(const std::string& folder) {
  const std::string file = any_of(segments_in(folder));
  overwrite(file, std::string(64, '\0'));
  return "zeros in " + name_of(file);
}

std::string change_byte(const std::string& folder) {
  const std::string file = any_of(files_in(folder));
  overwrite(file, std::string(1, static_cast<char>(random_below(256))));
  return "another byte in " + name_of(file);
}

std::string append(const std::string& folder) {
  const std::string file = any_of(files_in(folder));
  std::ofstream(file, std::ios::app | std::ios::binary) << "more";
  return "more bytes in " + name_of(file);
}

std::string copy_over(const std::string& folder) {
  const std::string file = any_of(files_in(folder));
  const std::string other = any_of(files_in(folder));
  if (file != other) { replace_by(file, other); }
  return "a copy of " + name_of(other) + " as " + name_of(file);
}

std::string exchange(const std::string& one, const std::string& other) {
  const std::string between = one + ".between";
  fs::rename(one, between);
  fs::rename(other, one);
  fs::rename(between, other);
  return name_of(one) + " and " + name_of(other) + " exchanged";
}

// With their records, or only these.
std::string exchange_segments(const std::string& folder) {
  const path_list segments = segments_in(folder);
  const std::string& one = any_of(segments);
  const std::string& other = any_of(segments);
  if (one == other) { return "nothing"; }
  const std::string what = exchange(record_of(one), record_of(other));
  return random_below(2) == 0 ? what : what + ", " + exchange(one, other);
}

// A segment that belongs to its record, but to another transcode.
std::string take_foreign(const std::string& folder, const path_list& foreign) {
  const std::string& others = any_of(foreign);
  const std::string name = name_of(any_of(segments_in(folder)));
  if (!is_segment(others + "/" + name)) { return "nothing"; }
  copy_with_record(others + "/" + name, folder + "/" + name);
  return name + " of another transcode";
}

std::string take_foreign_record(const std::string& folder, const path_list& foreign) {
  const std::string name = name_of(any_of(files_in(any_of(foreign))));
  for (const std::string& others : foreign) {
    if (fs::exists(others + "/" + name)) { replace_by(folder + "/" + name, others + "/" + name); }
  }
  return name + " of another transcode";
}

std::string plant(const std::string& folder) {
  const std::string file = any_of(files_in(folder));
  fs::remove(file);
  switch (random_below(4)) {
  case 0:
    fs::create_directory(file);
    std::ofstream(file + "/inside") << "anything";
    return "a folder as " + name_of(file);
  case 1:
    fs::create_symlink(any_of(files_in(folder)), file);
    return "a link as " + name_of(file);
  case 2:
    mkfifo(file.c_str(), S_IRUSR | S_IWUSR);
    return "a pipe as " + name_of(file);
  default:
    std::ofstream(file) << "";
    return "an empty file as " + name_of(file);
  }
}

std::string add_segment(const std::string& folder) {
  const std::string source = any_of(segments_in(folder));
  const std::string name = random_below(2) == 0 ? "/v000006.mp4" : "/v000099.mp4";
  copy_with_record(source, folder + name);
  return "one segment more," + name;
}

// Sums of which every one is right.
std::string forge_totals(const std::string& folder) {
  const long pictures = 1 + random_below(8);
  const long sounds = random_below(8);
  std::ofstream(folder + "/complete")
      << sealed(std::to_string(pictures) + " " + std::to_string(pictures * 50) + " " +
                std::to_string(sounds) + " " + std::to_string(sounds * 93));
  return "forged totals of " + std::to_string(pictures) + " segments";
}

std::string forge_reach(const std::string& folder) {
  const unsigned reach = random_below(6);
  std::ofstream(folder + "/reach") << sealed(std::to_string(reach));
  return "a forged reach of " + std::to_string(reach);
}

}  // namespace

std::string damage_folder(const std::string& folder, const path_list& foreign) {
  using damage = std::string (*)(const std::string&);
  static constexpr damage own[] = {lose,       cut_off,           zero,  change_byte, append,
                                   copy_over,  exchange_segments, plant, add_segment, forge_totals,
                                   forge_reach};
  constexpr auto kinds = static_cast<unsigned>(std::size(own));
  const unsigned kind = random_below(kinds + 2);
  if (kind < kinds) { return own[kind](folder); }
  return kind == kinds ? take_foreign(folder, foreign) : take_foreign_record(folder, foreign);
}

}  // namespace qx_test
