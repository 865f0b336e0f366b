// qx_vod_service: start-up, main loop, shutdown.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "control/control_server.h"
#include "fileops/sweep.h"
#include "lifecycle/restart.h"
#include "platform/comm_socket_v4.h"
#include "platform/cpu.h"
#include "platform/descriptor_limit.h"
#include "platform/directories.h"
#include "platform/out_of_memory.h"
#include "platform/paths.h"
#include "platform/standard_error.h"
#include "platform/transcode_settings.h"
#include "queue/process_state.h"
#include "queue/queue_file.h"
#include "rules/json_text.h"
#include "service/command_line.h"
#include "service/instance_lock.h"
#include "service/main_loop.h"
#include "service/shutdown.h"

namespace {

// A pipe must never get the number of a standard stream, because a child's streams are set up by
// number. So if the service was started with one of them closed, it is opened on /dev/null.
bool open_standard_streams() {
  int fd = -1;
  do {
    fd = open("/dev/null", O_RDWR);
  } while (fd >= 0 && fd <= STDERR_FILENO);
  if (fd < 0) { return false; }
  close(fd);
  return true;
}

// World-writable whatever the umask, because other programs put files there too.
void make_output_directory() {
  const mode_t saved = umask(0);
  mkdir_p(path_output_dir, 0777, -1);
  umask(saved);
}

bool open_server_socket() {
  server_socket = comm_socket_v4_create();
  if (server_socket == nullptr) {
    fprintf(stderr, "Failed to create server socket\n");
    return false;
  }
  if (comm_socket_v4_create_server(server_socket, path_control_socket) != 0) {
    fprintf(stderr, "Failed to create server socket at %s\n", path_control_socket);
    return false;
  }
  return true;
}

void set_signal_handlers() {
  signal(SIGINT, sigma);
  signal(SIGTERM, sigma);
  signal(SIGQUIT, sigma);
  signal(SIGCHLD, SIG_DFL);  // children are reaped by pid
  signal(SIGPIPE, SIG_IGN);  // writing to a child that has ended should fail, not kill the service
  // A signal that the parent process had blocked could never stop the service.
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
}

// A full queue with all its clients needs more descriptors than the usual 1024.
void take_all_descriptors() {
  if (!raise_descriptor_limit()) {
    fprintf(stderr, "WARNING: cannot raise the limit of descriptors, %s\n", strerror(errno));
  }
}

bool start_up() {
  prepare_json();
  init_tarn_utils_cpu();
  take_all_descriptors();
  if (already_running()) {
    fprintf(stderr, "I am already running\n");
    return false;
  }
  make_output_directory();
  if (!open_server_socket()) { return false; }
  transcode_settings.vod_conf_load();
  set_signal_handlers();
  read_queue();
  check_uptime();
  if (uptime_wait) {
    fprintf(stderr, "System uptime below threshold, auto transcoding will wait\n");
  }
  markdown_unknown_vod_fileops();
  return true;
}

void shut_down() {
  if (DIE == 0) {
    DIE = 1;  // the control socket failed: shut down
  }
  fprintf(stderr, "Shutting down transcode queue processes\n");
  with_memory("tools were not waited for", shutdown_transcode_queue_processes);
  with_memory("the queue file was not written", write_queue);
  fprintf(stderr, "Shutting down transcode queue\n");
  shutdown_transcode_queue();
  server_socket = comm_socket_v4_destroy(server_socket);
  flush_standard_error();
}

}  // namespace

int main(int argc, char** argv) {
  if (!open_standard_streams()) { return 1; }
  open_standard_error();
  if (!check_command_line(argc, argv)) { return 1; }
  // A queue that was not read whole must not be written over the file.
  bool is_started = false;
  with_memory("the service did not start", [&] { is_started = start_up(); });
  if (!is_started) { return 1; }
  run_main_loop();
  shut_down();
  return 0;
}
