#include "tools/qx_vod_ctl/doctor/left_overs.h"

#include <algorithm>
#include <vector>

#include <sys/stat.h>

#include "platform/metadata_v4.h"
#include "platform/unique_dir.h"
#include "tools/media/left_logins.h"
#include "tools/media/left_parts.h"
#include "tools/media/left_segments.h"
#include "tools/media/size_text.h"

namespace {

constexpr const char* check = "left-over files";
constexpr const char* segments_check = "finished segments";
constexpr const char* login_check = "left-over logins";

bool is_folder(const std::string& path) {
  struct stat status = {};
  return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// The folder itself, and the metadata directories in it, where thumbnails are made.
std::vector<std::string> places_in(const std::string& folder) {
  std::vector<std::string> places = {folder};
  const unique_dir directory(opendir(folder.c_str()));
  while (const dirent* entry = directory ? readdir(directory.get()) : nullptr) {
    const std::string path = (folder + "/").append(entry->d_name);
    if (metadata_v4_context_is_metadata_name(entry->d_name) && is_folder(path)) {
      places.push_back(path);
    }
  }
  return places;
}

std::string described(const left_part_sums& sums) {
  return std::to_string(sums.count) + " partial " + (sums.count == 1 ? "file" : "files") +
         " left by killed tools, " + size_text(sums.bytes);
}

std::string transcodes_text(const left_part_sums& sums) {
  return "of " + std::to_string(sums.count) + " interrupted " +
         (sums.count == 1 ? "transcode" : "transcodes") + ", " + size_text(sums.bytes);
}

}  // namespace

finding check_left_overs(const std::string& folder, bool fix) {
  left_part_sums sums;
  for (const std::string& place : places_in(folder)) {
    const left_part_sums more = fix ? remove_left_parts(place) : find_left_parts(place);
    sums.count += more.count;
    sums.bytes += more.bytes;
  }
  if (sums.count == 0) { return fine(check, "none in " + folder); }
  if (fix) { return fine(check, "removed " + described(sums) + ", in " + folder); }
  return warning(check, described(sums) + ", in " + folder, "qx_vod_ctl doctor --fix removes them");
}

finding check_left_segments(const std::string& folder, bool fix, int keep_days, bool is_disk_full) {
  const left_segments dispensable = is_disk_full ? left_segments::all : left_segments::abandoned;
  const left_part_sums old = fix ? remove_left_segments(folder, dispensable, keep_days)
                                 : find_left_segments(folder, dispensable, keep_days);
  left_part_sums rest = find_left_segments(folder, left_segments::all, keep_days);
  if (!fix) {
    rest.count -= std::min(rest.count, old.count);
    rest.bytes -= std::min(rest.bytes, old.bytes);
  }
  const std::string kept =
      rest.count > 0 ? transcodes_text(rest) + ", that can be resumed, in " + folder : "";
  if (old.count == 0) { return fine(segments_check, kept.empty() ? "none in " + folder : kept); }
  const char* const why = is_disk_full ? ", for which the disk has too little room, in "
                                       : ", that will not be resumed, in ";
  std::string text = transcodes_text(old) + why + folder;
  if (!kept.empty()) { text += "; " + kept; }
  if (fix) { return fine(segments_check, "removed those " + text); }
  return warning(segments_check, text, "qx_vod_ctl doctor --fix removes them");
}

finding check_left_logins(bool fix) {
  const std::size_t count = fix ? remove_left_logins() : find_left_logins();
  if (count == 0) { return fine(login_check, "none"); }
  const std::string text =
      std::to_string(count) + " left by killed uploads, containing the password";
  if (fix) { return fine(login_check, "removed " + text); }
  return warning(login_check, text, "qx_vod_ctl doctor --fix removes them");
}
