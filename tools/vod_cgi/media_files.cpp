#include "tools/vod_cgi/media_files.h"

#include <string_view>

#include <sys/stat.h>
#include <unistd.h>

#include "platform/text.h"
#include "rules/output_name.h"

namespace {

bool is_readable_file(const std::string& path) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
         access(path.c_str(), R_OK) == 0;
}

// The name of a VOD within the folder, "" if it must not be published.
std::string vod_name(const vod_folder& folder, const std::string& output) {
  constexpr char ending[] = ".mp4";
  constexpr std::size_t ending_length = sizeof(ending) - 1;
  if (!begins_with(output, folder.path)) { return ""; }
  const std::string name = output.substr(folder.path.size());
  const bool is_vod = name.size() > ending_length && name[0] != '.' &&
                      name.find('/') == std::string::npos &&
                      name.compare(name.size() - ending_length, ending_length, ending) == 0;
  return is_vod ? name : "";
}

std::string percent_encoded(const std::string& name) {
  constexpr char digits[] = "0123456789ABCDEF";
  constexpr char plain[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-._~";
  std::string encoded;
  for (const char c : name) {
    const auto byte = static_cast<unsigned char>(c);
    if (std::string_view(plain).find(c) != std::string_view::npos) {
      encoded += c;
    } else {
      encoded += {'%', digits[byte >> 4U], digits[byte & 15U]};
    }
  }
  return encoded;
}

}  // namespace

std::string vod_url(const vod_folder& folder, const std::string& output) {
  const std::string name = vod_name(folder, output);
  return name.empty() || !is_readable_file(output) ? "" : folder.url + percent_encoded(name);
}

std::string thumbnail_url(const vod_folder& folder, const std::string& output) {
  const std::string name = vod_name(folder, output);
  const std::string thumbnail = "." + name + ".metadata/" + thumbnail_file;
  return name.empty() || !is_readable_file(folder.path + thumbnail)
             ? ""
             : folder.url + "." + percent_encoded(name) + ".metadata/" + thumbnail_file;
}
