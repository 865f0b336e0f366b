// The service's rules for sources.
#include "tools/qx_vod_ctl/check/admission.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/clock.h"
#include "platform/forbidden_area.h"
#include "platform/media_metadata.h"
#include "platform/metadata_v4.h"
#include "platform/paths.h"
#include "platform/unique_fd.h"

namespace {

// What the service asks of metadata, and what there is to be shown of them.
constexpr const char* entry_names[] = {"file type",   "offline",        "duration",   "width",
                                       "height",      "frame rate",     "interlaced", "video codec",
                                       "audio codec", "audio channels", "bit rate",   "size"};

struct advice {
  const char* text;
  const char* words;
};

// A text is looked up by its beginning: some end with a cause of their own.
constexpr advice advices[] = {
    {"One or more parameters", "the name must not begin with a dot or contain control characters"},
    {"Rejected: Forbidden input file",
     "move it below /mnt, /media or /srv, or list its directory in /mnt/main/tv/media.roots"},
    {"Rejected: File is metadata", "name the media file, not its metadata"},
    {"Rejected: unable to locate folder",
     "the directory is missing, unreadable, or outside the allowed ones after symbolic links"},
    {"Rejected: neither file nor folder", "name the file itself, not a link or device"},
    {"Rejected: File is marked offline", "bring it online first; its metadata say offline=1"},
    {"Rejected: File type is not transcodeable", "it has neither audio nor video"},
    {"Rejected: Unable to create metadata", "qxmi_startitem --identify --file FILE says why"},
    {"unable to check metadata", "remove its metadata file, which is damaged or unreadable"},
    {"Rejected: Unable to determine", "qxmi_vod_transcode --quote --file FILE says why"},
    {"Rejected: Transcoder could not", "give it a shorter name if it is close to 200 bytes long"},
};

refusal refused(std::string text) {
  refusal result;
  result.text = std::move(text);
  return result;
}

// Whoever is not root may be kept out where the service is not.
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

refusal judge_place(const std::string& folder, const std::string& name) {
  const unique_fd directory(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!directory.valid()) { return judge_error(errno, "Rejected: unable to locate folder"); }
  if (cgi_velmar_forbidden_area_fd(directory.get(), 0) != 0) {
    return refused("Rejected: unable to locate folder");
  }
  struct stat status = {};
  if (fstatat(directory.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
    const int error = errno;
    return judge_error(error, std::string("Rejected: file not accessible, ") + strerror(error));
  }
  const bool is_media = S_ISDIR(status.st_mode) || S_ISREG(status.st_mode);
  return is_media ? refusal() : refused("Rejected: neither file nor folder");
}

bool begins_with(const std::string& text, const std::string& beginning) {
  return text.compare(0, beginning.size(), beginning) == 0;
}

}  // namespace

refusal judge_source(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::string name = path.substr(slash == std::string::npos ? 0 : slash + 1);
  if (path.empty() || path[0] != '/' || cgi_velmar_forbidden_file_name(name.c_str()) != 0) {
    return refused("One or more parameters were not accepted");
  }
  if (cgi_velmar_forbidden_area(path.c_str(), 0) != 0) {
    return refused("Rejected: Forbidden input file");
  }
  if (metadata_v4_context_is_metadata_name(path.c_str())) {
    return refused("Rejected: File is metadata");
  }
  return judge_place(path.substr(0, slash), name);
}

bool is_transcodeable(const std::string& file_type) {
  return begins_with(file_type, "audio/") || begins_with(file_type, "video/") ||
         file_type == "application/x-velmar-playlist" ||
         file_type == "application/x-velmar-multiregion-playlist";
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
  result.offline = std::strtol(result.entry("offline").c_str(), nullptr, 10) >= 1;
  return result;
}

std::string output_path(const std::string& path, const std::string& profile,
                        const std::string& moment) {
  const std::string name = path.substr(path.rfind('/') + 1);
  const std::string output = path_output_dir + moment + ".vod." + profile + "." + name;
  return output.substr(output.rfind('.')) == ".mp4" ? output : output + ".mp4";
}

bool output_can_be_named(const std::string& path, const std::string& profile) {
  const std::string output = output_path(path, profile, std::to_string(gettimeofday_us()));
  char metadata_folder[4096];
  return cgi_velmar_forbidden_file_name(output.c_str() + std::strlen(path_output_dir)) == 0 &&
         metadata_v4_file_to_metadir(output.c_str(), metadata_folder, sizeof metadata_folder) >= 0;
}

std::string advice_for(const std::string& text) {
  for (const advice& known : advices) {
    if (begins_with(text, known.text)) { return known.words; }
  }
  return "";
}
