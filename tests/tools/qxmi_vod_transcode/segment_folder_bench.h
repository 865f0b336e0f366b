// Folders of segments beside outputs, on a file system whose calls the test can look at and fail.
#pragma once

#include <ctime>
#include <functional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <sys/types.h>

#include <gtest/gtest.h>

#include "platform/unique_fd.h"
#include "tests/support/media/tool_run.h"

namespace qx_test {

class segment_folder_bench : public testing::Test {
protected:
  segment_folder_bench();
  ~segment_folder_bench() override;

  // A folder as a killed tool leaves it, with a segment of `source`; its path. The last change in
  // it was `age_s` seconds ago.
  std::string left_folder(const std::string& source, std::time_t age_s = 0,
                          const std::string& name = default_name) const;
  static void set_age(const std::string& path, std::time_t age_s);
  std::string made_source() const;

  static constexpr const char* default_name = ".qx-segments-0123456789abcdef";
  static constexpr std::time_t day_s = 86400;

  // Of these calls of the code under test. A hook that returns an error lets the call fail with it;
  // 0 lets it go on.
  std::function<int()> before_lock;
  std::function<int(const std::string& name)> before_mkdir;
  std::function<int(const std::string& name)> before_open;
  std::function<int()> before_sync_of_folder;
  std::function<int()> before_chown;
  std::function<int()> before_exclusive_rename;
  std::function<int()> before_link;
  bool locks_only_to_write = false;  // files that are open for writing, as NFS does
  bool keeps_open_files = false;     // under another name, until they are closed, as NFS does
  mode_t added_mode = 0;             // that new folders get whatever was asked for
  std::function<void(const std::string& name)> after_unlink;
  std::vector<std::string> unlinked;
  std::set<ino_t> synced;

  scratch_folder folder;  // of the outputs
  scratch_folder sources;
  unique_fd directory;  // `folder`

private:
  void remove_closed_files() const;
  friend struct call_hooks;
};

}  // namespace qx_test
