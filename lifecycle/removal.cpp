// Removes a job's source and the source's metadata, each in a child of its own.
#include <cassert>
#include <cerrno>

#include <sys/stat.h>
#include <unistd.h>

#include "exec/forked_child.h"
#include "platform/metadata_v4.h"
#include "queue/queue_item.h"
#include "rules/tool_commands.h"

bool QueueItem::removal_may_start(cleanup_states step) {
  proc_drain_stdout_before_reap = false;
  return sm.state == TRANSCODE_CLEANUP && sm.cleanup.state == step && proc_pid == -1 &&
         input_file.compare(0, 1, "/") == 0 && proc_prepare_fork_spawn() && validate_ready() == 1;
}

bool QueueItem::proc_start_unlink_input_file_metadata() {
  if (!removal_may_start(CLEANUP_UNLINK_FILE)) { return false; }
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

// A removal can take long on a slow disk and hang on a lost mount, so it is a child's work; unlink
// alone needs no tool.
bool QueueItem::proc_start_unlink_input_file() {
  if (!removal_may_start(CLEANUP_UNLINK_META)) { return false; }
  const pid_t service = getpid();
  const termination_signals_blocked blocked;
  proc_pid = fork();
  if (proc_pid == 0) {
    begin_child(service);
    // It must not hold the clients' connections or the instance lock should it hang.
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
