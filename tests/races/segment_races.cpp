// The folders in which transcodes keep their finished segments. In the place of ffmpeg, a few
// system calls open the same URL in the same way.
#include <cstdlib>
#include <filesystem>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/file_bytes.h"
#include "platform/unique_fd.h"
#include "tests/races/attacker.h"
#include "tests/races/race.h"
#include "tools/media/left_segments.h"
#include "tools/media/segment_folder.h"
#include "tools/qxmi_vod_transcode/content_sum.h"
#include "tools/qxmi_vod_transcode/work_folder.h"

namespace qx_test {

namespace {

namespace fs = std::filesystem;

constexpr const char* output = "/mnt/main/tv/vod/film.mp4";
constexpr const char* key = "the key";
constexpr const char* source_text = "6 1.0\n/mnt/open/film.mpg";
constexpr const char* link_to_private = "/mnt/main/tv/vod/link";
constexpr const char* others_folder = "/mnt/main/tv/vod/others";
constexpr const char* used_folder = "/mnt/main/tv/vod/.qx-segments-1111111111111111";
constexpr const char* left_folder = "/mnt/main/tv/vod/.qx-segments-0000000000000000-1";
constexpr const char* segment = "result";  // the private folder has one, too
constexpr unsigned own = 0700;
constexpr unsigned everybodys = 0777;
constexpr uid_t attackers = 65534;
constexpr int keep_days = 7;

unique_fd lock_of_used;
bool was_made = false;

std::string folder_of_key() {
  content_sum sum;
  sum.add(key);
  return std::string(output_folder) + "/" + segment_folder_prefix + hexadecimal(sum.value());
}

std::string in_folder(const std::string& folder, const char* name) {
  return folder + "/" + name;
}

// As an earlier run of the tool may have left it.
void make_folder_of_key() {
  was_made = false;
  make_folder(folder_of_key(), own);
  // As private as a folder of segments, which must not be all that protects it.
  fs::permissions(private_folder, fs::perms::owner_all);
  make_link(link_to_private, private_folder);
}

void make_folder_of_others() {
  make_folder_of_key();
  make_folder(others_folder, everybodys);
  if (chown(others_folder, attackers, attackers) != 0) { std::abort(); }
}

void keep_segments() {
  work_folder folder;
  std::string error;
  folder.open(output, key, source_text, error);
}

void keep_segments_by_path() {
  write_text(in_folder(folder_of_key(), segment_key_name), key);
}

bool has_key() {
  return text_of(in_folder(folder_of_key(), segment_key_name)) == key;
}

// Whichever name it has now.
bool others_have_key() {
  for (const auto& entry : fs::directory_iterator(output_folder)) {
    struct stat status = {};
    if (lstat(entry.path().c_str(), &status) != 0 || status.st_uid != attackers) { continue; }
    if (S_ISDIR(status.st_mode) && fs::exists(entry.path() / segment_key_name)) { return true; }
  }
  return false;
}

// The start of an engine gives the attacker time.
void wait_as_for_engine() {
  constexpr int most_looks = 2000;
  std::error_code ignored;
  for (int i = 0; i < most_looks; ++i) {
    if (fs::is_symlink(fs::symlink_status(folder_of_key(), ignored))) { return; }
    usleep(100);
  }
}

void join_segments() {
  std::string error;
  work_folder folder;
  if (!folder.open(output, key, source_text, error)) { return; }
  wait_as_for_engine();
  const std::string url = "/proc/self/fd/" + std::to_string(folder.fd());
  const unique_fd made(open(in_folder(url, segment).c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC,
                            S_IRUSR | S_IWUSR));
  was_made = made.valid() && write_all(made.get(), "made");
  folder.note_result(made.get());
  folder.remove();
}

void join_segments_by_path() {
  wait_as_for_engine();
  write_text(in_folder(folder_of_key(), segment), "made");
}

void make_left_folder() {
  make_folder_of_key();
  make_folder(left_folder, own);
  write_text(in_folder(left_folder, segment), "left");
}

// One that no run of a tool needs, and one in use.
void make_left_and_used_folder() {
  make_left_folder();
  make_folder(used_folder, own);
  write_text(in_folder(used_folder, segment), "used");
  const unique_fd directory(open(output_folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  const std::string name = fs::path(used_folder).filename();
  const unique_fd folder = open_segment_folder(directory.get(), name);
  lock_of_used = lock_segment_folder(directory.get(), name, folder.get());
  if (!lock_of_used.valid()) { std::abort(); }
}

void sweep() {
  remove_left_segments(output_folder, left_segments::all, keep_days);
}

void sweep_by_path() {
  unlink(in_folder(left_folder, segment).c_str());
}

bool left_folder_is_gone() {
  return !fs::exists(left_folder);
}

bool used_segment_is_gone() {
  return text_of(in_folder(used_folder, segment)) != "used" &&
         text_of(in_folder(left_folder, segment)) != "used";
}

}  // namespace

std::vector<race> segment_races() {
  static const std::string folder = folder_of_key();
  const auto to_link = exchange(folder.c_str(), link_to_private);
  return {
      {"segments kept, their folder replaced by a link", make_folder_of_key, to_link, keep_segments,
       keep_segments_by_path, has_key},
      {"segments kept, their folder exchanged for another's", make_folder_of_others,
       exchange(folder.c_str(), others_folder), keep_segments, keep_segments_by_path, has_key,
       others_have_key},
      {"segments joined, their folder replaced by a link", make_folder_of_key, to_link,
       join_segments, join_segments_by_path, [] { return was_made; }},
      {"left segments swept, their folder replaced by a link", make_left_folder,
       exchange(left_folder, link_to_private), sweep, sweep_by_path, left_folder_is_gone},
      {"left segments swept, their folder exchanged for one in use", make_left_and_used_folder,
       exchange(left_folder, used_folder), sweep, sweep_by_path, left_folder_is_gone,
       used_segment_is_gone},
  };
}

}  // namespace qx_test
