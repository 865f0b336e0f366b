// The metadata file of one media file, with the entries of others kept as they are.
#pragma once

#include <string>
#include <vector>

#include "tools/media/item_entries.h"

struct metadata_v4_context;
struct metadata_v4_metadata_context;

class item_metadata {
public:
  item_metadata();
  ~item_metadata();
  item_metadata(const item_metadata&) = delete;
  item_metadata& operator=(const item_metadata&) = delete;

  // Reads the metadata of the file with the absolute path `path`; missing metadata is not a
  // failure. A malformed metadata file is a failure, since the entries of others would be lost.
  // False with the cause in `error`.
  bool load(const std::string& path, std::string& error);

  // Sets the entries that have a value, and empties existing entries of the same names that no
  // longer apply: entries cannot be removed, and an empty one means the same. After load().
  bool set(const std::vector<item_entry>& entries, std::string& error);

  // Writes the metadata file, whole. After load().
  bool save(std::string& error) const;

private:
  metadata_v4_context* context_;
  metadata_v4_metadata_context* entries_;
};
