// The order of start-up and shutdown, with everything that main calls replaced by a record of the
// call.
#include <csignal>
#include <string>
#include <vector>

#include <sys/stat.h>

#include <gmock/gmock.h>

#include "control/control_server.h"
#include "fileops/sweep.h"
#include "platform/comm_socket_v4.h"
#include "platform/cpu.h"
#include "platform/descriptor_limit.h"
#include "platform/directories.h"
#include "platform/standard_error.h"
#include "platform/transcode_settings.h"
#include "queue/process_state.h"
#include "queue/queue_file.h"
#include "rules/json_text.h"
#include "service/instance_lock.h"
#include "service/main_loop.h"
#include "service/shutdown.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

int service_main(int argc, char** argv);

namespace {

std::vector<std::string> calls;
bool other_instance = false;
bool low_uptime = false;
bool limit_can_be_raised = true;
bool socket_can_be_made = true;
int listen_result = 0;
unsigned signals_in_loop = 1;

comm_socket_v4* const made_socket = reinterpret_cast<comm_socket_v4*>(&calls);

std::string octal(mode_t mode) {
  char text[20];
  snprintf(text, sizeof text, "%03o", mode);
  return text;
}

mode_t current_umask() {
  const mode_t mask = umask(0);
  umask(mask);
  return mask;
}

std::string handler_name(sighandler_t handler) {
  if (handler == SIG_DFL) { return "default"; }
  if (handler == SIG_IGN) { return "ignore"; }
  return handler == sigma ? "sigma" : "other";
}

}  // namespace

decltype(DIE) DIE{0};
bool uptime_wait = false;
comm_socket_v4* server_socket = nullptr;
class transcode_settings transcode_settings;

void init_tarn_utils_cpu() {
  calls.emplace_back("cpu");
}
void prepare_json() {}
void open_standard_error() {}
void flush_standard_error() {
  calls.emplace_back("flush standard error");
}
bool raise_descriptor_limit() {
  calls.emplace_back("descriptor limit");
  errno = EPERM;
  return limit_can_be_raised;
}
bool already_running() {
  calls.emplace_back("lock");
  return other_instance;
}
int mkdir_p(const char* path, mode_t mode, int owner) {
  calls.push_back(std::string("mkdir ") + path + " " + octal(mode) + " " + std::to_string(owner) +
                  " umask " + octal(current_umask()));
  return -1;
}
comm_socket_v4* comm_socket_v4_create() {
  calls.emplace_back("create socket");
  return socket_can_be_made ? made_socket : nullptr;
}
int comm_socket_v4_create_server(comm_socket_v4* server, const char* path) {
  EXPECT_EQ(server, made_socket);
  calls.push_back(std::string("listen at ") + path + " umask " + octal(current_umask()));
  return listen_result;
}
comm_socket_v4* comm_socket_v4_destroy(comm_socket_v4* server) {
  calls.emplace_back(server == made_socket ? "destroy socket" : "destroy something else");
  return nullptr;
}
void transcode_settings::vod_conf_load() {
  calls.emplace_back("configuration");
}
bool read_queue() {
  calls.emplace_back("read queue");
  return false;
}
void check_uptime() {
  calls.emplace_back("uptime");
  uptime_wait = low_uptime;
}
void markdown_unknown_vod_fileops() {
  calls.emplace_back("sweep");
}
void run_main_loop() {
  calls.emplace_back("run");
  DIE = signals_in_loop;
}
void shutdown_transcode_queue_processes() {
  calls.push_back("end processes, " + std::to_string(DIE) + " signals");
  fprintf(stderr, "(processes)\n");
}
bool write_queue() {
  calls.emplace_back("write queue");
  fprintf(stderr, "(write)\n");
  return false;
}
void shutdown_transcode_queue() {
  calls.emplace_back("end queue");
  fprintf(stderr, "(queue)\n");
}
void sigma(int) {}

extern "C" sighandler_t signal(int number, sighandler_t handler) noexcept {
  calls.push_back(std::string("signal ") + sigabbrev_np(number) + " " + handler_name(handler));
  return SIG_DFL;
}

class start_order : public ::testing::Test {
protected:
  start_order() {
    calls.clear();
    DIE = 0;
    uptime_wait = false;
    umask(027);
  }
  // Runs the service and returns its exit status.
  int run(const char* argument = nullptr) {
    std::string name = "qx_vod_service";
    std::string first = argument == nullptr ? "" : argument;
    char* argv[] = {name.data(), argument == nullptr ? nullptr : first.data(), nullptr};
    ::testing::internal::CaptureStderr();
    const int status = service_main(argument == nullptr ? 1 : 2, argv);
    printed = ::testing::internal::GetCapturedStderr();
    return status;
  }
  std::string printed;
};

TEST_F(start_order, is_kept_from_start_to_end) {
  EXPECT_EQ(run(), 0);
  EXPECT_THAT(calls,
              ElementsAre("cpu", "descriptor limit", "lock",
                          "mkdir /mnt/main/tv/vod/ 777 -1 umask 000", "create socket",
                          "listen at /var/run/vod.transcode.service umask 027", "configuration",
                          "signal INT sigma", "signal TERM sigma", "signal QUIT sigma",
                          "signal CHLD default", "signal PIPE ignore", "read queue", "uptime",
                          "sweep", "run", "end processes, 1 signals", "write queue", "end queue",
                          "destroy socket", "flush standard error"));
  EXPECT_EQ(server_socket, nullptr);
  EXPECT_EQ(current_umask(), 027U) << "the umask is restored";
}

TEST_F(start_order, prints_the_steps_of_the_shutdown) {
  run();
  EXPECT_EQ(printed, "Shutting down transcode queue processes\n(processes)\n(write)\n"
                     "Shutting down transcode queue\n(queue)\n");
}

TEST_F(start_order, continues_with_the_current_descriptor_limit) {
  limit_can_be_raised = false;
  EXPECT_EQ(run(), 0);
  EXPECT_THAT(printed, ::testing::StartsWith("WARNING: cannot raise the limit of descriptors, "
                                             "Operation not permitted\n"));
  limit_can_be_raised = true;
}

TEST_F(start_order, leaves_no_signal_blocked) {
  sigset_t set;
  sigfillset(&set);
  sigprocmask(SIG_SETMASK, &set, nullptr);
  run();
  sigprocmask(SIG_SETMASK, nullptr, &set);
  EXPECT_TRUE(sigisemptyset(&set));
}

TEST_F(start_order, end_without_a_signal_counts_as_one) {
  signals_in_loop = 0;
  EXPECT_EQ(run(), 0);
  EXPECT_THAT(calls, ::testing::Contains("end processes, 1 signals"));
  signals_in_loop = 1;
}

TEST_F(start_order, end_keeps_the_count_of_the_signals) {
  signals_in_loop = 3;
  run();
  EXPECT_THAT(calls, ::testing::Contains("end processes, 3 signals"));
  signals_in_loop = 1;
}

TEST_F(start_order, stops_at_an_argument) {
  EXPECT_EQ(run("--help"), 1);
  EXPECT_EQ(printed, "qx_vod_service [options]\n");
  EXPECT_EQ(run("x"), 1);
  EXPECT_EQ(printed, "Unexpected arg x\n");
  EXPECT_THAT(calls, IsEmpty());
}

TEST_F(start_order, stops_if_another_instance_is_running) {
  other_instance = true;
  EXPECT_EQ(run(), 1);
  EXPECT_EQ(printed, "I am already running\n");
  EXPECT_THAT(calls, ElementsAre("cpu", "descriptor limit", "lock"));
  other_instance = false;
}

TEST_F(start_order, stops_if_no_socket_can_be_made) {
  socket_can_be_made = false;
  EXPECT_EQ(run(), 1);
  EXPECT_EQ(printed, "Failed to create server socket\n");
  EXPECT_EQ(calls.back(), "create socket");
  socket_can_be_made = true;
}

TEST_F(start_order, stops_if_the_service_cannot_listen) {
  listen_result = -1;
  EXPECT_EQ(run(), 1);
  EXPECT_EQ(printed, "Failed to create server socket at /var/run/vod.transcode.service\n");
  EXPECT_EQ(calls.back(), "listen at /var/run/vod.transcode.service umask 027");
  listen_result = 0;
}

TEST_F(start_order, reports_that_the_uptime_gate_is_closed) {
  low_uptime = true;
  run();
  EXPECT_THAT(printed,
              ::testing::StartsWith("System uptime below threshold, auto transcoding will wait\n"));
  low_uptime = false;
}
