#include "tests/control/control_bench.h"

#include <csignal>

#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "control/control_server.h"
#include "exec/child_signals.h"
#include "platform/comm_socket_v4.h"
#include "queue/process_state.h"
#include "queue/transcode_queue.h"
#include "tests/support/wait_until.h"

namespace qx_test {

namespace {

// A reply takes one round to connect and one to read; more only for long requests.
constexpr int rounds_for_a_reply = 100;

}  // namespace

idle_child::idle_child() : pid_(fork()) {
  if (pid_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // ends with a test that crashes
    setpgid(0, 0);
    execl("/bin/sleep", "sleep", "1000", nullptr);
    _exit(1);
  }
  setpgid(pid_, pid_);
  EXPECT_TRUE(wait_until([&] { return read_child_signals(pid_).is_tool; }));
}

idle_child::~idle_child() {
  if (pid_ > 0) { first_signal(); }
}

int idle_child::first_signal() {
  int status = 0;
  ::kill(pid_, SIGKILL);
  waitpid(pid_, &status, 0);
  pid_ = -1;
  return WTERMSIG(status);
}

control_bench::control_bench() {
  const std::string path = folder_ + "/socket";
  server_socket = comm_socket_v4_create();
  EXPECT_EQ(comm_socket_v4_create_server(server_socket, path.c_str()), 0);
  connection_ = new raw_connection(path);
  EXPECT_TRUE(connection_->connected());
}

control_bench::~control_bench() {
  delete connection_;
  server_socket = comm_socket_v4_destroy(server_socket);
}

bool control_bench::reply_is_there() const {
  pollfd readable{connection_->fd(), POLLIN, 0};
  return poll(&readable, 1, 0) > 0;
}

reply_packet control_bench::request(const request_packet& packet) {
  EXPECT_TRUE(connection_->send(packet.encoded()));
  for (int i = 0; i < rounds_for_a_reply && !reply_is_there(); ++i) {
    EXPECT_EQ(handle_server_socket(), 0);
  }
  EXPECT_TRUE(reply_is_there()) << packet.words.front() << " was not answered";
  return reply_is_there() ? connection_->receive() : reply_packet{};
}

reply_packet control_bench::request(std::string_view command, const name_values& pairs) {
  request_packet packet;
  packet.words = {std::string(command)};
  packet.pairs = pairs;
  return request(packet);
}

reply_packet control_bench::command(std::string_view command, const QueueItem& item,
                                    const name_values& more) {
  name_values pairs = {{"entry id", item.entry_id}};
  pairs.insert(pairs.end(), more.begin(), more.end());
  return request(command, pairs);
}

void control_bench::send_and_serve(std::string_view bytes) {
  EXPECT_TRUE(connection_->send(bytes));
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(handle_server_socket(), 0);
  }
}

QueueItem& control_bench::add_remote_item(remote_transcode_states state) {
  QueueItem& item = add_item(TRANSCODE_REMOTE);
  item.sm.remote.set_state(state);
  return item;
}

void control_bench::add_items(int count, transcode_states state) {
  for (int i = 0; i < count; ++i) {
    QueueItem& item = add_item(state);
    item.input_file = "/" + std::to_string(item.fileops_job_id);
  }
}

strings control_bench::input_files() {
  strings files;
  for (const QueueItem* item : transcode_queue) {
    files.push_back(item == nullptr ? "(null)" : item->input_file);
  }
  return files;
}

bool control_bench::status_written(const QueueItem& item) {
  return exists(item.fileops_job_dir + "/status");
}

std::string control_bench::status_text(const QueueItem& item) {
  for (const auto& line : lines_of(read_file(item.fileops_job_dir + "/status"))) {
    if (line.rfind("state=", 0) == 0) { return line.substr(6); }
  }
  return "(no status)";
}

bool control_bench::scan_is_due() {
  return next_queue_scan == clock_us;
}

bool control_bench::write_is_armed() {
  return next_background_write_queue == clock_us + write_delay_us;
}

bool control_bench::nothing_is_armed() {
  return next_queue_scan == 0 && next_background_write_queue == 0;
}

}  // namespace qx_test
