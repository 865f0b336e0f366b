// Where metadata lies, and its entries in memory.
#include "platform/metadata_v4.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <string>
#include <string_view>

#include "platform/metadata_entries.h"

namespace {

constexpr std::string_view metadir_prefix = ".";
constexpr std::string_view metadir_suffix = ".metadata";
// So that the directory's name keeps within a file system's 255 bytes.
constexpr std::size_t max_name_length = 255 - metadir_prefix.size() - metadir_suffix.size();

int fail(int error) {
  errno = error;
  return -1;
}

bool is_metadir_name(std::string_view name) {
  return name.size() > metadir_prefix.size() + metadir_suffix.size() &&
         name.substr(0, metadir_prefix.size()) == metadir_prefix &&
         name.substr(name.size() - metadir_suffix.size()) == metadir_suffix;
}

}  // namespace

int metadata_v4_file_to_metadir(char const* path, char* buffer, std::size_t size) {
  char const* const slash = strrchr(path, '/');
  if (*path != '/' || slash[1] == '\0') {
    return fail(EINVAL);
  }
  std::string const name = slash + 1;
  std::string const metadir =
      std::string(path, slash + 1).append(metadir_prefix) + name + std::string(metadir_suffix);
  if (name.size() > max_name_length || metadir.size() >= size) {
    return fail(ENAMETOOLONG);
  }
  memcpy(buffer, metadir.c_str(), metadir.size() + 1);
  return static_cast<int>(metadir.size());
}

bool metadata_v4_context_is_metadata_name(char const* path) {
  std::string_view rest = path;
  while (!rest.empty()) {
    std::size_t const end = std::min(rest.find('/'), rest.size());
    if (is_metadir_name(rest.substr(0, end))) {
      return true;
    }
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

int metadata_v4_context_set_file_location(metadata_v4_context* context, char const* path) {
  char metadir[4096];
  context->directory.clear();
  if (metadata_v4_file_to_metadir(path, metadir, sizeof(metadir)) < 0) {
    return -1;
  }
  context->directory = metadir;
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

char const* metadata_v4_metadata_context_read_entry(metadata_v4_metadata_context const* entries,
                                                    char const* name) {
  for (auto const& [entry_name, value] : entries->list) {
    if (entry_name == name) {
      return value.c_str();
    }
  }
  return nullptr;
}

int metadata_v4_metadata_context_write_entry(metadata_v4_metadata_context* entries,
                                             char const* name, char const* value) {
  if (*name == '\0' || strpbrk(name, "=\r\n") != nullptr) {
    return fail(EINVAL);
  }
  set_metadata_entry(*entries, name, value);
  return 0;
}
