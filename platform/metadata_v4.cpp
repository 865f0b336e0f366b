// The metadata handles and the location of a media file's metadata.
#include "platform/metadata_v4.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <new>
#include <utility>

#include "platform/metadata_entries.h"

namespace {

constexpr std::string_view prefix = ".";
constexpr std::string_view suffix = ".metadata";
// With prefix and suffix, this makes the longest name that a file system allows, 255 bytes.
constexpr std::size_t longest_name = NAME_MAX - prefix.size() - suffix.size();

int fail(int error) {
  errno = error;
  return -1;
}

bool is_metadata_directory_name(std::string_view name) {
  return name.size() > prefix.size() + suffix.size() && name.substr(0, prefix.size()) == prefix &&
         name.substr(name.size() - suffix.size()) == suffix;
}

}  // namespace

int metadata_v4_file_to_metadir(const char* path, char* buffer, std::size_t size) {
  const std::string_view whole = path;
  const std::size_t name_begin = whole.rfind('/') + 1;
  const std::string_view name = whole.substr(name_begin);
  if (whole.substr(0, 1) != "/" || name.empty()) { return fail(EINVAL); }
  if (name.size() > longest_name) { return fail(ENAMETOOLONG); }
  std::string metadir(whole.substr(0, name_begin));
  metadir.append(prefix).append(name).append(suffix);
  if (metadir.size() >= size || metadir.size() > INT_MAX) { return fail(ERANGE); }
  memcpy(buffer, metadir.c_str(), metadir.size() + 1);
  return static_cast<int>(metadir.size());
}

bool metadata_v4_context_is_metadata_name(const char* path) {
  std::string_view rest = path;
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find('/'), rest.size());
    if (is_metadata_directory_name(rest.substr(0, end))) { return true; }
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return false;
}

metadata_v4_context* metadata_v4_context_create() {
  return new (std::nothrow) metadata_v4_context;
}

metadata_v4_context* metadata_v4_context_destroy(metadata_v4_context* context) {
  delete context;
  return nullptr;
}

int metadata_v4_context_set_file_location(metadata_v4_context* context, const char* path) {
  char directory[PATH_MAX];
  if (metadata_v4_file_to_metadir(path, directory, sizeof(directory)) < 0) { return -1; }
  context->directory = directory;
  return 0;
}

metadata_v4_metadata_context* metadata_v4_metadata_context_create() {
  return new (std::nothrow) metadata_v4_metadata_context;
}

metadata_v4_metadata_context*
metadata_v4_metadata_context_destroy(metadata_v4_metadata_context* entries) {
  delete entries;
  return nullptr;
}

const char* metadata_v4_metadata_context_read_entry(const metadata_v4_metadata_context* entries,
                                                    const char* name) {
  const auto place = entries->places.find(name);
  return place == entries->places.end() ? nullptr : entries->entries[place->second].second.c_str();
}

int metadata_v4_metadata_context_write_entry(metadata_v4_metadata_context* entries,
                                             const char* name, const char* value) {
  if (*name == '\0' || strpbrk(name, "=\r\n") != nullptr) { return fail(EINVAL); }
  entries->set(name, value);
  return 0;
}

std::string metadata_v4_metadata_context_to_text(const metadata_v4_metadata_context* entries) {
  return entries->text();
}

int metadata_v4_metadata_context_from_text(metadata_v4_metadata_context* entries,
                                           const std::string& text) {
  metadata_v4_metadata_context read;
  if (!read.parse(text)) { return fail(EINVAL); }
  *entries = std::move(read);
  return 0;
}
