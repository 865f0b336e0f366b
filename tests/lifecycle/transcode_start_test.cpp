// Starting a transcode: preconditions, command line, handing it to another server.
#include <filesystem>
#include <functional>
#include <map>

#include <gmock/gmock.h>

#include "lifecycle/scheduler.h"
#include "platform/transcode_settings.h"
#include "queue/process_state.h"
#include "queue/slots.h"
#include "tests/exec/exec_bench.h"

using namespace qx_test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class transcode_start : public private_exec_bench {
protected:
  transcode_start() {
    transcode_settings.clear();
    root_.write_source("/mnt/media/clip.mpg");
    std::filesystem::create_directories(root_.path("/mnt/main/tv/vod"));
  }
  QueueItem& add() {
    QueueItem& item = add_source_item(TRANSCODE_READY);
    item.sm.ready.set_state(READY_READY_TO_TRANSCODE);
    item.transcode_profile = "720";
    item.quoted_profile = {"1080", "720"};
    EXPECT_TRUE(item.set_output_file("/mnt/main/tv/vod/out.mp4"));
    return item;
  }
  static void go_remote() {
    transcode_settings.address = "server";
    transcode_settings.remote_flags = remote_flag_address | remote_flag_user | remote_flag_password;
  }
};

using remote_start = transcode_start;

}  // namespace

TEST_F(transcode_start, throttles_the_transcoder) {
  inside([&] {
    const fake_child child;
    QueueItem& item = add();
    const stderr_capture capture;
    EXPECT_TRUE(item.do_queue_start_transcode());
    EXPECT_THAT(item.proc_argv,
                ElementsAre("/usr/bin/qxmi_vod_transcode", "-d", "7", "--cpu-cap", "70",
                            "--profile", "720", "-f", "mp4", "-o", "/mnt/main/tv/vod/out.mp4",
                            "--file", "/mnt/media/clip.mpg"));
    EXPECT_EQ(capture.text(), "Item '" + item.entry_id + "' starting transcode\n");
    EXPECT_EQ(child.started, 1);
  });
}

TEST_F(transcode_start, runs_at_full_speed_if_configured) {
  inside([&] {
    const fake_child child;
    kernel.cpus = 8;
    transcode_settings.fullspeed = true;
    QueueItem& item = add();
    EXPECT_TRUE(item.do_queue_start_transcode());
    EXPECT_THAT(item.proc_argv,
                ElementsAre("/usr/bin/qxmi_vod_transcode", "-d", "0", "--cpu-cap", "0",
                            "--max-threads", "8", "--profile", "720", "-f", "mp4", "-o",
                            "/mnt/main/tv/vod/out.mp4", "--file", "/mnt/media/clip.mpg"));
  });
}

TEST_F(transcode_start, reads_the_output_and_gives_no_input) {
  inside([&] {
    const fake_child child;
    QueueItem& item = add();
    item.proc_drain_stdout_before_reap = true;
    EXPECT_TRUE(item.do_queue_start_transcode());
    EXPECT_NE(item.proc_stdout_read_fd, -1);
    EXPECT_NE(item.proc_stdout_buffer, nullptr);
    EXPECT_EQ(item.proc_stdin_write_fd, -1);
    EXPECT_FALSE(item.proc_drain_stdout_before_reap);
    EXPECT_FALSE(item.proc_stderr_to_stdout);
  });
}

TEST_F(transcode_start, changes_the_state_and_takes_the_slot) {
  inside([&] {
    const fake_child child;
    QueueItem& item = add();
    EXPECT_TRUE(item.do_queue_start_transcode());
    EXPECT_EQ(item.sm.state, TRANSCODE_TRANSCODING);
    EXPECT_EQ(item.proc_sm.state, TRANSCODE_TRANSCODING);
    EXPECT_EQ(item_active_transcode_in_action, &item);
    EXPECT_EQ(status_writes.back(), "transcoding: Transcoding file...");
  });
}

// A job that was resumed and waiting when the service ended gets a new transcoder, which is not
// suspended.
TEST_F(transcode_start, new_transcoder_waits_for_nothing) {
  inside([&] {
    const fake_child child;
    QueueItem& item = add();
    item.waiting = true;
    EXPECT_TRUE(item.do_queue_start_transcode());
    EXPECT_FALSE(item.waiting);
    next_queue_scan = 0;
    idle_transcode_queue();
    EXPECT_THAT(child.signals, ::testing::IsEmpty());
  });
}

// It was at rest until the scan started it.
TEST_F(transcode_start, started_job_has_the_next_turn) {
  inside([&] {
    fake_child child;
    const QueueItem& item = add();
    next_queue_scan = 0;
    EXPECT_FALSE(idle_transcode_queue());
    ASSERT_EQ(item.sm.state, TRANSCODE_TRANSCODING);
    child.end(exited(0));
    EXPECT_TRUE(idle_transcode_queue());
    EXPECT_EQ(item.sm.state, TRANSCODE_THUMBNAIL);
  });
}

TEST_F(transcode_start, needs_every_precondition) {
  const std::map<std::string, std::function<void(QueueItem&)>> lacks = {
      {"ready state", [](QueueItem& item) { item.sm.set_state(TRANSCODE_CANCELLED); }},
      {"last step", [](QueueItem& item) { item.sm.ready.set_state(READY_QUERY_PROFILES); }},
      {"profile", [](QueueItem& item) { item.transcode_profile.clear(); }},
      {"job", [](QueueItem& item) { item.fileops_job_dir.clear(); }},
      {"listing", [](QueueItem& item) { item.quoted_profile.clear(); }},
      {"output", [](QueueItem& item) { item.output_file.clear(); }},
      {"input", [](QueueItem& item) { item.input_file.clear(); }},
      {"rest", [](QueueItem& item) { fake_child::run_for(item); }},
      {"leave to run", [](QueueItem& item) { item.paused = true; }}};
  inside([&] {
    const fake_child child;
    for (const auto& [what, take_away] : lacks) {
      QueueItem& item = add();
      take_away(item);
      const auto state = item.sm.state;
      EXPECT_FALSE(item.do_queue_start_transcode()) << "without " << what;
      EXPECT_EQ(item.sm.state, state) << what;
      EXPECT_EQ(item.state_message, "") << what;
    }
    EXPECT_EQ(child.started, 0);
    EXPECT_THAT(status_writes, IsEmpty());
    EXPECT_EQ(item_active_transcode_in_action, nullptr);
  });
}

TEST_F(transcode_start, source_that_is_gone_keeps_the_reason) {
  inside([&] {
    const fake_child child;
    QueueItem& item = add();
    ASSERT_TRUE(std::filesystem::remove("/mnt/media/clip.mpg"));
    EXPECT_FALSE(item.do_queue_start_transcode());
    EXPECT_EQ(item.state_message, "Rejected: file not accessible, No such file or directory");
    EXPECT_EQ(item.sm.state, TRANSCODE_READY);
  });
}

TEST_F(transcode_start, vanished_job_is_replaced_and_refused) {
  inside([&] {
    const fake_child child;
    QueueItem& item = add();
    std::filesystem::remove_all(item.fileops_job_dir);
    EXPECT_FALSE(item.do_queue_start_transcode());
    EXPECT_EQ(item.state_message, "Rejected: File operation disappeared unexpectedly");
    EXPECT_EQ(item.fileops_job_dir, "/mnt/main/tv/fileops/jobs/1");
    EXPECT_TRUE(exists(item.fileops_job_dir + "/status"));
    EXPECT_EQ(child.started, 0);
  });
}

TEST_F(transcode_start, job_directory_that_is_a_link_is_refused) {
  inside([&] {
    const fake_child child;
    QueueItem& item = add();
    const std::string job_dir = item.fileops_job_dir;
    std::filesystem::rename(job_dir, job_dir + ".moved");
    std::filesystem::create_directory_symlink(job_dir + ".moved", job_dir);
    EXPECT_FALSE(item.do_queue_start_transcode());
    EXPECT_EQ(item.state_message, "Rejected: File operation disappeared unexpectedly");
  });
}

TEST_F(transcode_start, fails_without_a_pipe_before_the_state_changes) {
  inside([&] {
    const fake_child child;
    kernel.pipe2 = [](int*, int) { return -1; };
    QueueItem& item = add();
    EXPECT_FALSE(item.do_queue_start_transcode());
    EXPECT_EQ(item.sm.state, TRANSCODE_READY);
    EXPECT_EQ(item_active_transcode_in_action, nullptr);
  });
}

TEST_F(transcode_start, fails_without_a_fork) {
  inside([&] {
    const fake_child child;
    kernel.fork = [] { return -1; };
    QueueItem& item = add();
    EXPECT_FALSE(item.do_queue_start_transcode());
    EXPECT_FALSE(item.is_running());
    item.cancel();
    EXPECT_EQ(item_active_transcode_in_action, nullptr);
  });
}

TEST_F(remote_start, starts_the_remote_phase) {
  inside([&] {
    const fake_child child;
    go_remote();
    QueueItem& item = add();
    item.uploaded = true;
    const stderr_capture capture;
    EXPECT_TRUE(item.do_queue_start_transcode());
    EXPECT_EQ(item.sm.state, TRANSCODE_REMOTE);
    EXPECT_EQ(item.sm.remote.state, REMOTE_INIT);
    EXPECT_EQ(item.remote_info.ip, "server");
    EXPECT_EQ(item.remote_info.name.size(), 36U);
    EXPECT_FALSE(item.uploaded);
    EXPECT_EQ(status_writes.back(), "remote transcode: Starting remote transcode");
    EXPECT_EQ(capture.text(), "Item '" + item.entry_id + "' starting transcode remotely\n");
    EXPECT_EQ(child.started, 0);
    EXPECT_EQ(item_active_transcode_in_action, nullptr);
  });
}

// A later download would otherwise continue the file that was made here.
TEST_F(remote_start, after_a_local_one_keeps_the_upload_but_not_the_output) {
  inside([&] {
    const fake_child child;
    QueueItem& item = add();
    item.remote_info.ip = "server";
    item.remote_info.name = "uploaded before";
    item.uploaded = true;
    EXPECT_TRUE(item.do_queue_start_transcode());
    fake_child::run_for(item);
    write_file(item.output_file, "made here");
    item.proc_pid = -1;
    item.close_proc_stdout();
    item.sm.set_state(TRANSCODE_READY);
    item.sm.ready.set_state(READY_READY_TO_TRANSCODE);
    go_remote();
    EXPECT_TRUE(item.do_queue_start_transcode());
    EXPECT_EQ(item.remote_info.name, "uploaded before");
    EXPECT_TRUE(item.uploaded);
    EXPECT_FALSE(std::filesystem::exists(item.output_file));
  });
}

TEST_F(remote_start, keeps_the_name_of_an_existing_upload) {
  inside([&] {
    const fake_child child;
    go_remote();
    QueueItem& item = add();
    item.remote_info.name = "uploaded before";
    item.uploaded = true;
    EXPECT_TRUE(item.do_queue_start_transcode());
    EXPECT_EQ(item.remote_info.name, "uploaded before");
    EXPECT_TRUE(item.uploaded);
  });
}
