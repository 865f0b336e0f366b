#include "tools/qx_vod_ctl/check/admission.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/forbidden_area.h"
#include "platform/media_metadata.h"
#include "platform/unique_fd.h"
#include "rules/control_words.h"
#include "rules/source_rules.h"

namespace {

// The metadata entries that the service reads, and those worth showing.
constexpr const char* entry_names[] = {
    entry_file_type, entry_offline, "duration",    "width",          "height",   "frame rate",
    "interlaced",    "video codec", "audio codec", "audio channels", "bit rate", "size"};

refusal refused(std::string text) {
  refusal result;
  result.text = std::move(text);
  return result;
}

// A user other than root may not have access to files that the service can read.
bool is_hidden_from_this_user(int error) {
  return geteuid() != 0 && error == EACCES;
}

refusal judge_error(int error, std::string text) {
  refusal result = refused(std::move(text));
  result.missing = error == ENOENT || error == ENOTDIR;
  result.unknown = is_hidden_from_this_user(error);
  if (result.unknown) { result.text = "this user has no access; run it again as root"; }
  return result;
}

refusal judge_folder(int folder) {
  if (folder < 0) { return judge_error(errno, folder_refusal(false, 0)); }
  return refused(folder_refusal(true, cgi_velmar_forbidden_area_fd(folder, source_folder_flags)));
}

refusal judge_file(int folder, const std::string& name) {
  struct stat status = {};
  const int result = fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW);
  const int error = result == 0 ? 0 : errno;
  return judge_error(error, file_refusal(error, status.st_mode));
}

refusal judge_place(const source_place& place) {
  const unique_fd folder(open(place.folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  refusal result = judge_folder(folder.get());
  return result.text.empty() ? judge_file(folder.get(), place.name) : result;
}

}  // namespace

refusal judge_source(const std::string& path) {
  const auto place = place_of_source(path);
  if (!place) { return refused(status_not_accepted); }
  const unsigned area = cgi_velmar_forbidden_area(path.c_str(), source_path_flags);
  refusal result = refused(path_refusal(path, area));
  return result.text.empty() ? judge_place(*place) : result;
}

std::string stored_metadata::entry(const std::string& name) const {
  const auto found = std::find_if(entries.begin(), entries.end(),
                                  [&](const auto& entry) { return entry.first == name; });
  return found == entries.end() ? "" : found->second;
}

stored_metadata read_stored_metadata(const std::string& path) {
  stored_metadata result;
  const media_metadata metadata(path);
  result.readable = metadata.error() == 0 || metadata.error() == ENOENT;
  for (const char* name : entry_names) {
    const char* const value = metadata.entry(name);
    if (value != nullptr && *value != '\0') { result.entries.emplace_back(name, value); }
  }
  return result;
}
