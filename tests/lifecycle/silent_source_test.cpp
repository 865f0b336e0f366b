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

constexpr char interrupted_text[] = "Transcoding will restart, waiting for turn";

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
  // What a restart of the service makes of the only item.
  static QueueItem& restored(QueueItem& item) {
    EXPECT_TRUE(item.set_fileops_job_id(-1) && item.init_fileops_job());
    EXPECT_TRUE(write_queue());
    delete &item;
    transcode_queue.clear();
    EXPECT_TRUE(read_queue());
    return *transcode_queue.front();
  }
  // Gives the item turns, each half a second later, until it no longer waits for its source.
  static void wait_for_answer(QueueItem& item) {
    EXPECT_TRUE(wait_until([&] {
      clock_us += second_us / 2;
      item.idle();
      return !item.source_silent;
    }));
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
    EXPECT_EQ(item.state_message, "Ready") << "it has followed at once";
    clock_us += second_us / 2;
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

TEST_F(silent_source, that_answers_late_is_not_asked_again_for_a_second) {
  inside([&] {
    QueueItem& item = add_silent();
    EXPECT_FALSE(answers(item));
    mount_.answer();
    EXPECT_TRUE(wait_until([&] { return answers(item); }));
    mount_.fall_silent();
    clock_us += second_us;
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
    item.sm.set_state(TRANSCODE_TRANSCODING);
    int looks = 0;
    kernel.fork = [&] {
      ++looks;
      return __real_fork();
    };
    EXPECT_EQ(restored(item).sm.state, TRANSCODE_READY);
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

TEST_F(silent_source, of_an_interrupted_transcode_leaves_its_text) {
  inside([&] {
    QueueItem& stored = add_silent();
    stored.sm.set_state(TRANSCODE_TRANSCODING);
    QueueItem& item = restored(stored);
    EXPECT_TRUE(item.source_silent);
    EXPECT_EQ(item.sm.state, TRANSCODE_READY);
    EXPECT_EQ(item.state_message, interrupted_text);
  });
}

TEST_F(silent_source, that_answers_gives_back_the_text_that_the_waiting_has_replaced) {
  inside([&] {
    QueueItem& stored = add_silent();
    stored.sm.set_state(TRANSCODE_TRANSCODING);
    QueueItem& item = restored(stored);
    clock_us += second_us / 2;
    item.idle();
    EXPECT_EQ(item.state_message, waiting_text);
    mount_.answer();
    wait_for_answer(item);
    EXPECT_EQ(item.state_message, interrupted_text);
  });
}

TEST_F(silent_source, of_a_job_made_ready_meanwhile_leaves_it_ready) {
  inside([&] {
    QueueItem& item = add_silent();
    EXPECT_FALSE(answers(item));
    clock_us += second_us;
    const stderr_capture capture;
    collect_late_looks();
    item.sm.set_state(TRANSCODE_CANCELLED);
    item.state_message = "Cancelled by user";
    EXPECT_TRUE(item.do_user_ready());
    EXPECT_EQ(item.state_message, waiting_text);
    mount_.answer();
    wait_for_answer(item);
    EXPECT_EQ(item.state_message, "Ready");
  });
}

TEST_F(silent_source, that_has_gone_before_a_restart_is_noticed_with_the_first_answer) {
  inside([&] {
    for (const transcode_states state :
         {TRANSCODE_READY, TRANSCODE_TRANSCODING, TRANSCODE_THUMBNAIL, TRANSCODE_CLEANUP}) {
      mount_.fall_silent();
      clock_us += 2 * second_us;
      QueueItem& stored = add_silent();
      EXPECT_TRUE(stored.set_input_file("/mnt/share/missing.mpg"));
      stored.delete_on_finish = true;
      stored.sm.set_state(state);
      QueueItem& item = restored(stored);
      EXPECT_EQ(item.input_file, "/mnt/share/missing.mpg");
      mount_.answer();
      wait_for_answer(item);
      EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLED);
      EXPECT_EQ(item.state_message, "Rejected: File has disappeared");
      EXPECT_EQ(item.input_file, "");
      delete &item;
      transcode_queue.clear();
    }
  });
}

TEST_F(silent_source, of_a_restored_job_without_output_gets_one_with_the_first_answer) {
  inside([&] {
    QueueItem& stored = add_silent();
    stored.output_file.clear();
    stored.sm.set_state(TRANSCODE_THUMBNAIL);
    QueueItem& item = restored(stored);
    EXPECT_EQ(item.output_file, "");
    item.idle();
    EXPECT_EQ(item.sm.state, TRANSCODE_THUMBNAIL);
    mount_.answer();
    wait_for_answer(item);
    EXPECT_NE(item.output_file, "");
    EXPECT_NE(item.proc_pid, -1) << "the tool for the picture";
    waitpid(item.proc_pid, nullptr, 0);
    item.proc_pid = -1;
  });
}

TEST_F(silent_source, that_was_refused_is_looked_at_again) {
  inside([&] {
    QueueItem& item = add_silent();
    EXPECT_TRUE(item.set_input_file("/mnt/share/missing.mpg"));
    EXPECT_FALSE(answers(item));
    mount_.answer();
    EXPECT_TRUE(wait_until([&] { return answers(item); }));
    mount_.fall_silent();
    EXPECT_FALSE(answers(item)) << "the file may have come";
  });
}

TEST_F(silent_source, of_a_job_made_ready_is_looked_at_again) {
  inside([&] {
    QueueItem& item = add_silent();
    EXPECT_FALSE(answers(item));
    mount_.answer();
    item.sm.set_state(TRANSCODE_CANCELLED);
    EXPECT_TRUE(wait_until([&] { return answers(item); }));
    EXPECT_TRUE(item.do_user_ready());
    mount_.fall_silent();
    EXPECT_FALSE(answers(item)) << "the file may have changed";
  });
}
