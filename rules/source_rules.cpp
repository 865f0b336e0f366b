#include "rules/source_rules.h"

#include <cstdlib>
#include <cstring>

#include <sys/stat.h>

#include "platform/forbidden_area.h"
#include "platform/metadata_v4.h"
#include "platform/text.h"
#include "rules/texts.h"

namespace {

bool is_offline(const std::string& entry) {
  return strtol(entry.c_str(), nullptr, 10) >= 1;
}

}  // namespace

std::optional<source_place> place_of_source(const std::string& path) {
  if (!begins_with(path, "/")) { return std::nullopt; }
  const std::size_t slash = path.rfind('/');
  source_place place{path.substr(0, slash), path.substr(slash + 1)};
  if (cgi_velmar_forbidden_file_name(place.name.c_str()) != 0) { return std::nullopt; }
  return place;
}

std::string path_refusal(const std::string& path, unsigned area) {
  if (path.empty()) { return "Rejected: No input file"; }
  if ((area & source_path_forbidden) != 0) { return text_source_forbidden; }
  return metadata_v4_context_is_metadata_name(path.c_str()) ? text_source_is_metadata : "";
}

std::string folder_refusal(bool is_open, unsigned area) {
  const bool is_allowed = is_open && (area & source_folder_forbidden) == 0;
  return is_allowed ? "" : text_folder_not_found;
}

std::string file_refusal(int error, mode_t mode) {
  if (error != 0) { return std::string("Rejected: file not accessible, ") + strerror(error); }
  return S_ISDIR(mode) || S_ISREG(mode) ? "" : text_not_a_file;
}

std::string metadata_refusal(const std::string& file_type, const std::string& offline) {
  if (is_offline(offline)) { return text_offline; }
  const bool is_refused = !file_type.empty() && !is_transcodeable(file_type);
  return is_refused ? text_not_transcodeable : "";
}

bool is_transcodeable(const std::string& file_type) {
  return begins_with(file_type, "audio/") || begins_with(file_type, "video/") ||
         file_type == "application/x-velmar-playlist" ||
         file_type == "application/x-velmar-multiregion-playlist";
}
