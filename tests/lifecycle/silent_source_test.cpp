// Jobs in the test's own process whose source is on a file system that answers late or not at all.
#include <filesystem>

#include <sys/stat.h>
#include <sys/wait.h>

#include "lifecycle/restart.h"
#include "lifecycle/scheduler.h"
#include "platform/limited_look.h"
#include "queue/process_state.h"
#include "queue/queue_file.h"
#include "queue/transcode_queue.h"
#include "remote/lifecycle_remote.h"
#include "tests/exec/exec_bench.h"
#include "tests/support/silent_mount.h"
#include "tests/support/skip.h"
#include "tests/support/wait_until.h"

using namespace qx_test;

extern "C" pid_t __real_fork();

namespace {

constexpr std::uint64_t second_us = 1000000;
constexpr char waiting_text[] = "Waiting for the file system of the source";

class silent_source : public private_exec_bench {
protected:
  void SetUp() override {
    if (!mount_.is_mounted()) { QX_SKIP_OR_FAIL_IN_CI("FUSE cannot be used"); }
    std::filesystem::create_directories(root_.path("/mnt/main/tv/vod"));
    mount_.fall_silent();
  }

  // Ready to transcode.
  QueueItem& add_silent() {
    QueueItem& item = add_candidate();
    EXPECT_TRUE(item.set_input_file("/mnt/share/clip.mpg"));
    EXPECT_TRUE(item.set_output_file("/mnt/main/tv/vod/clip.mp4"));
    item.state_message = "Ready";
    return item;
  }
  QueueItem& add_sent(remote_transcode_states state) {
    QueueItem& item = add_silent();
    item.sm.set_state(TRANSCODE_REMOTE);
    item.sm.remote.set_state(state);
    item.remote_info.ip = "server";
    item.remote_info.name = "name";
    item.remote_info.entry_id = "far";
    return item;
  }
  static bool answers(QueueItem& item) {
    item.validate_ready();
    return !item.source_silent;
  }

  silent_mount mount_{root_, "/mnt/share"};
};

}  // namespace

TEST_F(silent_source, brings_the_next_jobs_turn_at_once) {
  inside([&] {
    QueueItem& item = add_silent();
    next_queue_scan = 0;
    EXPECT_FALSE(idle_transcode_queue());
    EXPECT_TRUE(item.source_silent);
    EXPECT_EQ(item.sm.state, TRANSCODE_READY);
    EXPECT_EQ(next_queue_scan, clock_us);
    EXPECT_EQ(next_early_turn, clock_us + 5000);
  });
}

TEST_F(silent_source, is_shown_from_the_second_look_in_a_row_on) {
  inside([&] {
    QueueItem& item = add_silent();
    EXPECT_FALSE(answers(item));
    EXPECT_EQ(item.state_message, "Ready") << "it may only be slow";
    mount_.answer();
    EXPECT_TRUE(wait_until([&] { return answers(item); }));
    item.state_message = "Ready";
    clock_us += 3 * second_us;
    mount_.fall_silent();
    EXPECT_FALSE(answers(item));
    EXPECT_EQ(item.state_message, "Ready") << "the look before had its answer";
    EXPECT_FALSE(answers(item));
    EXPECT_EQ(item.state_message, waiting_text);
  });
}

TEST_F(silent_source, is_shown_at_once_if_the_mount_is_known_to_be_silent) {
  inside([&] {
    EXPECT_FALSE(answers(add_silent()));
    clock_us += second_us;
    const stderr_capture capture;
    collect_late_looks();
    QueueItem& other = add_silent();
    EXPECT_FALSE(answers(other));
    EXPECT_EQ(other.state_message, waiting_text);
  });
}

TEST_F(silent_source, that_answers_late_is_not_asked_again_for_two_and_a_half_seconds) {
  inside([&] {
    QueueItem& item = add_silent();
    EXPECT_FALSE(answers(item));
    mount_.answer();
    EXPECT_TRUE(wait_until([&] { return answers(item); }));
    mount_.fall_silent();
    clock_us += second_us * 5 / 2;
    EXPECT_TRUE(answers(item));
    clock_us += 1;
    EXPECT_FALSE(answers(item));
  });
}

TEST_F(silent_source, of_a_remote_job_is_looked_at_again_before_the_next_poll) {
  inside([&] {
    QueueItem& item = add_sent(REMOTE_MONITOR);
    idle_remote(item);
    EXPECT_TRUE(item.source_silent);
    EXPECT_EQ(item.next_remote_poll, clock_us + second_us / 2);
  });
}

TEST_F(silent_source, does_not_delay_a_command_for_the_remote_server) {
  inside([&] {
    QueueItem& item = add_sent(REMOTE_COMMAND);
    item.sm.remote_command = "cancel";
    idle_remote(item);
    EXPECT_NE(item.proc_pid, -1);
    EXPECT_FALSE(item.source_silent);
    item.shutdown_proc();
    waitpid(item.proc_pid, nullptr, 0);
    item.proc_pid = -1;
  });
}

TEST_F(silent_source, does_not_excuse_an_output_that_is_not_allowed) {
  inside([&] {
    QueueItem& item = add_sent(REMOTE_COMMAND);
    item.sm.remote_command = "cancel";
    item.output_file = "/etc/clip.mp4";
    idle_remote(item);
    EXPECT_EQ(item.proc_pid, -1);
  });
}

TEST_F(silent_source, does_not_excuse_an_output_of_a_restarted_job) {
  inside([&] {
    QueueItem& item = add_silent();
    item.sm.set_state(TRANSCODE_CANCELLED);
    item.output_file = "/etc/clip.mp4";
    EXPECT_FALSE(item.ready());
    EXPECT_EQ(item.state_message, "Rejected: output file name is invalid");
  });
}

TEST_F(silent_source, of_a_restored_job_is_looked_at_once_if_it_answers) {
  mount_.answer();
  inside([&] {
    QueueItem& item = add_silent();
    EXPECT_TRUE(item.set_fileops_job_id(-1) && item.init_fileops_job());
    item.sm.set_state(TRANSCODE_TRANSCODING);
    EXPECT_TRUE(write_queue());
    delete &item;
    transcode_queue.clear();
    int looks = 0;
    kernel.fork = [&] {
      ++looks;
      return __real_fork();
    };
    EXPECT_TRUE(read_queue());
    EXPECT_EQ(transcode_queue.front()->sm.state, TRANSCODE_READY);
    EXPECT_EQ(looks, 1);
  });
}

TEST_F(silent_source, is_known_by_its_size_and_time_once_it_answers) {
  mount_.answer();
  inside([&] {
    QueueItem& item = add_silent();
    EXPECT_TRUE(wait_until([&] { return answers(item); }));
    struct stat status {};
    EXPECT_EQ(stat("/mnt/share/clip.mpg", &status), 0);
    EXPECT_TRUE(item.judged_source.looks_like(status));
  });
}

TEST_F(silent_source, of_a_paused_job_leaves_it_ready) {
  inside([&] {
    QueueItem& item = add_silent();
    item.sm.set_state(TRANSCODE_CANCELLED);
    item.paused = true;
    item.state_message = "Cancelled by user";
    EXPECT_TRUE(item.do_user_ready());
    EXPECT_TRUE(item.source_silent);
    EXPECT_EQ(item.state_message, "Ready");
  });
}
