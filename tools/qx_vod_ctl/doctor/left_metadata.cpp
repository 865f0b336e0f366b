#include "tools/qx_vod_ctl/doctor/left_metadata.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <set>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/text.h"
#include "platform/unique_dir.h"
#include "platform/unique_fd.h"
#include "rules/output_name.h"
#include "tools/client/queue_reader.h"
#include "tools/job_log/job_log_file.h"

namespace {

constexpr const char* check = "left-over metadata";
constexpr std::time_t least_age = std::time_t{24} * 60 * 60;

using name_set = std::set<std::string>;

std::vector<std::string> names_in(const std::string& folder) {
  std::vector<std::string> names;
  const unique_dir directory(opendir(folder.c_str()));
  while (const dirent* entry = directory ? readdir(directory.get()) : nullptr) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") { names.push_back(name); }
  }
  return names;
}

// Written whole within a moment, then renamed: an old one belongs to a killed tool.
bool is_half_written(const std::string& name) {
  return (begins_with(name, "metadata.") ||
          begins_with(name, std::string(source_metadata_file) + ".")) &&
         ends_with(name, ".tmp");
}

bool is_of_a_job(const std::string& name) {
  return name == job_log_name || name == summary_file || is_half_written(name);
}

bool is_old(const struct stat& status) {
  return status.st_mtime + least_age < std::time(nullptr);
}

bool is_old_file(int folder, const std::string& name) {
  struct stat status = {};
  return fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
         S_ISREG(status.st_mode) && is_old(status);
}

// One metadata directory, held open so that nothing put in its place later is touched.
class metadata_place {
public:
  metadata_place(const std::string& folder, const std::string& media)
      : media_(media), path_(metadata_folder_of(media)), names_(names_in(path_)),
        fd_(open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)),
        is_here_(begins_with(path_, folder + "/")) {}

  bool is_left_over(const name_set& outputs) const {
    struct stat status = {};
    const auto is_old_own = [this](const std::string& name) {
      return is_of_a_job(name) && is_old_file(fd_.get(), name);
    };
    return is_here_ && fd_.valid() && outputs.count(media_) == 0 &&
           lstat(media_.c_str(), &status) != 0 && errno == ENOENT &&
           fstat(fd_.get(), &status) == 0 && is_old(status) && !job_log_in_use(media_) &&
           std::all_of(names_.begin(), names_.end(), is_old_own);
  }

  bool remove() const {
    for (const std::string& name : names_) {
      unlinkat(fd_.get(), name.c_str(), 0);
    }
    return rmdir(path_.c_str()) == 0;
  }

  std::size_t half_written(bool fix) const {
    return static_cast<std::size_t>(
        std::count_if(names_.begin(), names_.end(), [&](const std::string& name) {
          return fd_.valid() && is_half_written(name) && is_old_file(fd_.get(), name) &&
                 (!fix || unlinkat(fd_.get(), name.c_str(), 0) == 0);
        }));
  }

private:
  std::string media_;
  std::string path_;
  std::vector<std::string> names_;
  unique_fd fd_;
  bool is_here_;
};

// The media file that a directory of that name is for, ".NAME.metadata"; empty for any other.
std::string media_of(const std::string& folder, const std::string& name) {
  constexpr std::string_view ending = ".metadata";
  if (name.size() <= ending.size() + 1 || name[0] != '.' || !ends_with(name, ending)) { return ""; }
  const std::string media = folder + "/" + name.substr(1, name.size() - ending.size() - 1);
  return metadata_folder_of(media) == folder + "/" + name ? media : "";
}

struct metadata_sums {
  std::size_t folders = 0;
  std::size_t files = 0;
};

metadata_sums look_through(const std::string& folder, const name_set& outputs, bool fix) {
  metadata_sums sums;
  for (const std::string& name : names_in(folder)) {
    const std::string media = media_of(folder, name);
    if (media.empty()) { continue; }
    const metadata_place place(folder, media);
    if (place.is_left_over(outputs)) {
      if (!fix || place.remove()) { ++sums.folders; }
    } else {
      sums.files += place.half_written(fix);
    }
  }
  return sums;
}

}  // namespace

finding_list check_left_metadata(vod_service& service, const std::string& folder, bool fix) {
  queue_listing listing;
  service_reply failure;
  if (!read_queue(service, {}, listing, failure)) { return {}; }
  name_set outputs;
  for (const listed_item& listed : listing.items) {
    outputs.insert(listed.item.output_file);
  }
  const metadata_sums sums = look_through(folder, outputs, fix);
  if (sums.folders + sums.files == 0) { return {fine(check, "none in " + folder)}; }
  const std::string text = std::to_string(sums.folders) + " directories of jobs without a VOD, " +
                           std::to_string(sums.files) + " half-written files, in " + folder;
  if (fix) { return {fine(check, "removed " + text)}; }
  return {warning(check, text, "qx_vod_ctl doctor --fix removes them")};
}
