// Removes an item's source and the source's metadata, each in a separate child.
//
// Other accounts may be able to write to the folders above the source, and replace one by another
// or by a link. The source's folder is therefore opened without following their links, the source
// in it must be the file that was transcoded, and all removals go through that descriptor.
#include <cassert>
#include <cerrno>
#include <cstdint>
#include <cstdio>

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/vfs.h>
#include <unistd.h>

#include "exec/child_process.h"
#include "exec/forked_child.h"
#include "exec/source_view.h"
#include "platform/directory_tree.h"
#include "platform/metadata_v4.h"
#include "platform/out_of_memory.h"
#include "platform/trusted_path.h"
#include "queue/queue_item.h"
#include "rules/tool_commands.h"

namespace {

bool removal_may_start(QueueItem& item, cleanup_states step) {
  item.proc_drain_stdout_before_reap = false;
  return item.sm.state == TRANSCODE_CLEANUP && item.sm.cleanup.state == step &&
         item.proc_pid == -1 && item.input_file.compare(0, 1, "/") == 0 &&
         item.proc_prepare_fork_spawn() && item.validate_ready() == 1;
}

// What follows runs in a child.

// Whether a file keeps its numbers until the next boot. Those of FAT, FUSE and SMB change when the
// kernel forgets the file; a file system without a device of its own may get another device number
// when it is mounted again.
bool has_lasting_numbers(int folder, dev_t device) {
  struct statfs system {};
  if (fstatfs(folder, &system) != 0) { return true; }
  switch (static_cast<std::uint32_t>(system.f_type)) {
  case MSDOS_SUPER_MAGIC:
  case EXFAT_SUPER_MAGIC:
  case FUSE_SUPER_MAGIC:
  case CIFS_SUPER_MAGIC:
  case SMB2_SUPER_MAGIC:
    return false;
  case TMPFS_MAGIC:
  case OVERLAYFS_SUPER_MAGIC:
  case BTRFS_SUPER_MAGIC:
    return true;
  default:
    return major(device) != 0;
  }
}

bool is_judged_source(const QueueItem& item, int folder, const struct stat& status) {
  return item.judged_source.is(status) ||
         (item.judged_source.looks_like(status) && !has_lasting_numbers(folder, status.st_dev));
}

// The source's folder, while the source in it is the file that was transcoded. Otherwise invalid;
// errno is ENOENT if there is none any more.
unique_fd open_folder_of_source(const QueueItem& item) {
  std::string name;
  unique_fd folder = open_directory_of(item.input_file, name);
  struct stat status {};
  if (!folder.valid() || fstatat(folder.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
    return unique_fd();
  }
  if (!is_judged_source(item, folder.get(), status)) {
    dprintf(STDERR_FILENO, "Item '%s' (%s) is not the file that was transcoded, not removed\n",
            item.input_file.c_str(), item.entry_id.c_str());
    errno = ESTALE;
    return unique_fd();
  }
  return folder;
}

int unlink_source(const QueueItem& item) {
  const unique_fd folder = open_folder_of_source(item);
  const bool is_removed = folder.valid() && unlinkat(folder.get(), item.input_name.c_str(), 0) == 0;
  return is_removed || errno == ENOENT ? 0 : 1;
}

// The tool is given a path. Where others could make that lead elsewhere at any moment, this child
// removes the folder itself.
void remove_unless_tool_can(const QueueItem& item) {
  const std::string& metadir = item.proc_argv.back();
  const unique_fd folder = open_folder_of_source(item);
  if (folder.valid() && !others_may_redirect(metadir)) { return; }
  const std::string name = metadir.substr(metadir.rfind('/') + 1);
  _exit(folder.valid() && remove_tree(folder.get(), name.c_str()) ? 0 : 1);
}

}  // namespace

bool QueueItem::proc_start_unlink_input_file_metadata() {
  if (!removal_may_start(*this, CLEANUP_UNLINK_FILE)) { return false; }
  char tmp[4096];
  source_view source(*this);
  if (!source.look()) {
    wait_for_source(*this);
    return false;
  }
  if (metadata_v4_file_to_metadir(input_file.c_str(), tmp, sizeof(tmp)) >= 0) {
    assert(tmp[0] == '/');
    if (source.has_metadata_folder(tmp)) {
      proc_argv = removal_command(tmp);
      return spawn_after(*this, remove_unless_tool_can);
    }
  }
  sm.cleanup.advance();
  return true;
}

// A removal may be slow, or hang on a lost mount, so it runs in a child; unlink needs no tool.
bool QueueItem::proc_start_unlink_input_file() {
  if (!removal_may_start(*this, CLEANUP_UNLINK_META)) { return false; }
  const pid_t service = getpid();
  const termination_signals_blocked blocked;
  proc_pid = fork();
  if (proc_pid == 0) {
    begin_child(service);
    _exit(in_forked_child([this] { return unlink_source(*this); }));
  }
  if (proc_pid == -1) {
    close_proc_stdin();
    close_proc_stdout();
    return false;
  }
  return true;
}
