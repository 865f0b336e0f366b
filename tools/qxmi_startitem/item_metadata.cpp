#include "tools/qxmi_startitem/item_metadata.h"

#include <cerrno>
#include <cstring>

#include "platform/metadata_v4.h"

namespace {

bool fail(std::string& error, const std::string& what, int cause) {
  error = what + ": " + std::strerror(cause);
  return false;
}

}  // namespace

item_metadata::item_metadata()
    : context_(metadata_v4_context_create()), entries_(metadata_v4_metadata_context_create()) {}

item_metadata::~item_metadata() {
  metadata_v4_metadata_context_destroy(entries_);
  metadata_v4_context_destroy(context_);
}

bool item_metadata::load(const std::string& path, std::string& error) {
  if (context_ == nullptr || entries_ == nullptr) { return fail(error, "metadata", ENOMEM); }
  if (metadata_v4_context_set_file_location(context_, path.c_str()) < 0) {
    return fail(error, "no valid path for its metadata", errno);
  }
  if (metadata_v4_metadata_context_load_metadata_from_file(entries_, context_) >= 0) {
    return true;
  }
  return errno == ENOENT || fail(error, "its metadata cannot be read", errno);
}

bool item_metadata::set(const std::vector<item_entry>& entries, std::string& error) {
  for (const item_entry& entry : entries) {
    const bool known = metadata_v4_metadata_context_read_entry(entries_, entry.name) != nullptr;
    if (entry.value.empty() && !known) { continue; }
    if (metadata_v4_metadata_context_write_entry(entries_, entry.name, entry.value.c_str()) < 0) {
      return fail(error, std::string("entry \"") + entry.name + "\"", errno);
    }
  }
  return true;
}

bool item_metadata::save(std::string& error) const {
  return metadata_v4_metadata_context_write_metadata_to_file(entries_, context_) >= 0 ||
         fail(error, "its metadata cannot be written", errno);
}
