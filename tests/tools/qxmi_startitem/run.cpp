#include "tests/tools/qxmi_startitem/run.h"

#include <cerrno>
#include <memory>

#include <gtest/gtest.h>

#include "platform/metadata_v4.h"

namespace qx_test {
namespace {

constexpr const char* own_names[] = {
    "file type",   "duration", "width", "height",   "frame rate",     "interlaced", "video codec",
    "audio codec", "bit rate", "size",  "modified", "audio channels", "offline",    "title"};

struct location_closer {
  void operator()(metadata_v4_context* context) const { metadata_v4_context_destroy(context); }
};

struct entries_closer {
  void operator()(metadata_v4_metadata_context* entries) const {
    metadata_v4_metadata_context_destroy(entries);
  }
};

struct open_metadata {
  std::unique_ptr<metadata_v4_context, location_closer> location{metadata_v4_context_create()};
  std::unique_ptr<metadata_v4_metadata_context, entries_closer> entries{
      metadata_v4_metadata_context_create()};

  explicit open_metadata(const std::string& path) {
    EXPECT_GE(metadata_v4_context_set_file_location(location.get(), path.c_str()), 0);
  }
};

}  // namespace

std::vector<std::string> startitem_arguments(const std::string& path) {
  return {"--daemon", "--identify", "--create-meta", "--file", path};
}

entry_map metadata_of(const std::string& path) {
  const open_metadata metadata(path);
  const int loaded = metadata_v4_metadata_context_load_metadata_from_file(metadata.entries.get(),
                                                                          metadata.location.get());
  EXPECT_TRUE(loaded >= 0 || errno == ENOENT) << path;
  entry_map entries;
  for (const char* name : own_names) {
    const char* value = metadata_v4_metadata_context_read_entry(metadata.entries.get(), name);
    if (value != nullptr) { entries[name] = value; }
  }
  return entries;
}

void write_metadata(const std::string& path, const std::string& name, const std::string& value) {
  const open_metadata metadata(path);
  EXPECT_GE(
      metadata_v4_metadata_context_write_entry(metadata.entries.get(), name.c_str(), value.c_str()),
      0);
  EXPECT_GE(metadata_v4_metadata_context_write_metadata_to_file(metadata.entries.get(),
                                                                metadata.location.get()),
            0);
}

entry_map identified(const std::string& source, const std::string& name) {
  const scratch_folder folder;
  const std::string path = copy_to(folder.file(name), source);
  const tool_result result = run_tool("qxmi_startitem", startitem_arguments(path));
  EXPECT_EQ(result.end.status, 0) << (result.errors.empty() ? path : result.errors[0]);
  EXPECT_TRUE(result.output.empty() && result.errors.empty());
  return metadata_of(path);
}

}  // namespace qx_test
