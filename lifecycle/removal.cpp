// Removes an item's source and the source's metadata, each in a separate child.
#include <cassert>
#include <cerrno>

#include <sys/stat.h>
#include <unistd.h>

#include "exec/forked_child.h"
#include "platform/metadata_v4.h"
#include "queue/queue_item.h"
#include "rules/tool_commands.h"

namespace {

bool removal_may_start(QueueItem& item, cleanup_states step) {
  item.proc_drain_stdout_before_reap = false;
  return item.sm.state == TRANSCODE_CLEANUP && item.sm.cleanup.state == step &&
         item.proc_pid == -1 && item.input_file.compare(0, 1, "/") == 0 &&
         item.proc_prepare_fork_spawn() && item.validate_ready() == 1;
}

}  // namespace

bool QueueItem::proc_start_unlink_input_file_metadata() {
  if (!removal_may_start(*this, CLEANUP_UNLINK_FILE)) { return false; }
  char tmp[4096];
  struct stat status {};
  if (metadata_v4_file_to_metadir(input_file.c_str(), tmp, sizeof(tmp)) >= 0) {
    assert(tmp[0] == '/');
    if (lstat(tmp, &status) == 0 && S_ISDIR(status.st_mode)) {
      proc_argv = removal_command(tmp);
      return proc_spawn();
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
    // If it hangs, it must not hold clients' connections or the instance lock.
    close_range(STDERR_FILENO + 1, ~0U, 0);
    _exit(unlink(input_file.c_str()) != 0 && errno != ENOENT ? 1 : 0);
  }
  if (proc_pid == -1) {
    close_proc_stdin();
    close_proc_stdout();
    return false;
  }
  return true;
}
