// The "remote transcode" phase, turn by turn: who waits for whom, and until when.
#include <filesystem>

#include <gmock/gmock.h>

#include "queue/slots.h"
#include "tests/exec/exec_bench.h"

using namespace qx_test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

constexpr std::uint64_t second_us = 1000000;

// The value of rand() where only the timing depends on it: an odd number, so that uploads start.
constexpr int chance = 1234567;
constexpr std::uint64_t spread_us = chance % 100000;

json11::Json far_document(const char* state = "transcoding", bool paused = false) {
  return json11::Json::object{{"entry id", "far"},
                              {"input file", "/mnt/media/far.mpg"},
                              {"output file", "/mnt/main/tv/vod/far.mp4"},
                              {"transcode state", state},
                              {"paused", paused}};
}

class lifecycle_remote : public private_exec_bench {
protected:
  lifecycle_remote() {
    root_.write_source("/mnt/media/clip.mpg");
    std::filesystem::create_directories(root_.path("/mnt/main/tv/vod"));
    kernel.rand = [] { return chance; };
  }
  ~lifecycle_remote() override { kernel = {}; }

  QueueItem& add(remote_transcode_states state) {
    QueueItem& item = add_source_item(TRANSCODE_REMOTE);
    item.sm.remote.set_state(state);
    item.transcode_profile = "720";
    item.remote_info.ip = "server";
    item.remote_info.name = "name";
    EXPECT_TRUE(item.set_output_file("/mnt/main/tv/vod/out.mp4"));
    return item;
  }
  // An item that the remote server knows.
  QueueItem& add_known(remote_transcode_states state, const json11::Json& document) {
    QueueItem& item = add(state);
    item.remote_info.entry_id = "far";
    item.remote_info.json = document;
    return item;
  }
  static bool starts(QueueItem& item) {
    item.idle();
    return item.proc_pid != -1;
  }
  // The command that a turn of monitoring decides on; "" for none.
  std::string command_for(bool user_wants_pause, bool user_wants_cancel,
                          const json11::Json& document) {
    QueueItem& item = add_known(REMOTE_MONITOR, document);
    item.next_remote_poll = clock_us + 1;
    item.user_wants_pause = user_wants_pause;
    item.user_wants_cancel = user_wants_cancel;
    EXPECT_FALSE(starts(item));
    EXPECT_EQ(item.sm.remote.state,
              item.sm.remote_command.empty() ? REMOTE_MONITOR : REMOTE_COMMAND);
    return item.sm.remote_command;
  }
};

using lifecycle_upload = lifecycle_remote;
using lifecycle_download = lifecycle_remote;

}  // namespace

TEST_F(lifecycle_remote, begins_with_the_upload) {
  inside([&] {
    QueueItem& item = add(REMOTE_INIT);
    EXPECT_FALSE(starts(item));
    EXPECT_EQ(item.sm.remote.state, REMOTE_UPLOAD);
    EXPECT_THAT(status_writes, IsEmpty());
  });
}

TEST_F(lifecycle_upload, starts_in_a_random_half_of_the_turns) {
  inside([&] {
    const fake_child child;
    QueueItem& item = add(REMOTE_UPLOAD);
    for (const int even : {0, 2, 1000000}) {
      kernel.rand = [=] { return even; };
      EXPECT_FALSE(starts(item)) << even;
    }
    kernel.rand = [] { return 3; };
    EXPECT_TRUE(starts(item));
    EXPECT_EQ(item_active_upload_in_action, &item);
    EXPECT_THAT(item.proc_argv,
                ElementsAre("/usr/bin/qxmi_remote_transcode", "name", "/mnt/media/clip.mpg"));
  });
}

TEST_F(lifecycle_upload, waits_for_other_transfers_and_while_paused) {
  inside([&] {
    const fake_child child;
    QueueItem other;
    QueueItem& item = add(REMOTE_UPLOAD);
    item_active_upload_in_action = &other;
    EXPECT_FALSE(starts(item)) << "another upload";
    item_active_upload_in_action = &item;
    for (QueueItem* downloading : {&other, &item}) {
      item_active_download_in_action = downloading;
      EXPECT_FALSE(starts(item)) << "a download, whoever's";
    }
    item_active_download_in_action = nullptr;
    item.paused = true;
    EXPECT_FALSE(starts(item)) << "paused";
    item.paused = false;
    EXPECT_TRUE(starts(item)) << "the slot is its own";
  });
}

TEST_F(lifecycle_upload, that_cannot_be_started_cancels) {
  inside([&] {
    kernel.fork = [] { return -1; };
    QueueItem& item = add(REMOTE_UPLOAD);
    item.idle();
    EXPECT_EQ(status_writes.back(), "cancelled: Unable to begin remote transcode upload");
    EXPECT_EQ(item_active_upload_in_action, nullptr);
  });
}

TEST_F(lifecycle_upload, progress_is_read_when_it_is_time) {
  inside([&] {
    const fake_child child;
    QueueItem& item = add(REMOTE_UPLOAD);
    fake_child::run_for(item);
    item.next_upload_progress_read = clock_us + 1;
    item.idle();
    EXPECT_EQ(item.next_upload_progress_read, clock_us + 1);
    clock_us += 1;
    item.idle();
    EXPECT_EQ(item.next_upload_progress_read, clock_us + second_us / 2 + spread_us);
  });
}

TEST_F(lifecycle_remote, add_waits_while_paused) {
  inside([&] {
    const fake_child child;
    QueueItem& item = add(REMOTE_ADD);
    item.paused = true;
    EXPECT_FALSE(starts(item));
    item.paused = false;
    EXPECT_TRUE(starts(item));
    EXPECT_THAT(item.proc_argv.back(), HasSubstr("&vc=add"));
  });
}

TEST_F(lifecycle_remote, add_that_cannot_be_started_cancels) {
  inside([&] {
    kernel.fork = [] { return -1; };
    add(REMOTE_ADD).idle();
    EXPECT_EQ(status_writes.back(), "cancelled: Unable to add to remote");
  });
}

TEST_F(lifecycle_remote, server_is_polled_after_a_little_more_than_a_second) {
  inside([&] {
    const fake_child child;
    QueueItem& item = add_known(REMOTE_MONITOR, far_document());
    item.next_remote_poll = clock_us + 1;
    EXPECT_FALSE(starts(item));
    clock_us += 1;
    EXPECT_TRUE(starts(item));
    EXPECT_THAT(item.proc_argv.back(), HasSubstr("&vc=list"));
    EXPECT_EQ(item.next_remote_poll, clock_us + second_us + spread_us);
  });
}

TEST_F(lifecycle_remote, poll_that_cannot_be_started_is_retried) {
  inside([&] {
    kernel.fork = [] { return -1; };
    QueueItem& item = add_known(REMOTE_MONITOR, far_document());
    item.idle();
    EXPECT_EQ(item.sm.remote.state, REMOTE_MONITOR);
    EXPECT_EQ(item.next_remote_poll, clock_us + second_us + spread_us);
  });
}

TEST_F(lifecycle_remote, users_wish_becomes_a_command_if_the_server_differs) {
  inside([&] {
    const auto running = far_document();
    const auto paused = far_document("transcoding", true);
    EXPECT_EQ(command_for(false, false, running), "");
    EXPECT_EQ(command_for(true, false, running), "pause");
    EXPECT_EQ(command_for(true, false, paused), "");
    EXPECT_EQ(command_for(false, false, paused), "resume");
    EXPECT_EQ(command_for(false, true, running), "cancel");
    EXPECT_EQ(command_for(false, true, far_document("cancelled")), "");
    EXPECT_EQ(command_for(false, true, far_document("cancelling")), "");
  });
}

TEST_F(lifecycle_remote, pause_and_resume_come_before_a_cancel) {
  inside([&] {
    EXPECT_EQ(command_for(true, true, far_document()), "pause");
    EXPECT_EQ(command_for(false, true, far_document("transcoding", true)), "resume");
    EXPECT_EQ(command_for(true, true, far_document("transcoding", true)), "cancel");
  });
}

TEST_F(lifecycle_remote, command_is_sent_when_it_is_time) {
  inside([&] {
    const fake_child child;
    QueueItem& item = add_known(REMOTE_COMMAND, far_document());
    item.sm.remote_command = "pause";
    item.next_remote_poll = clock_us + 1;
    EXPECT_FALSE(starts(item));
    clock_us += 1;
    EXPECT_TRUE(starts(item));
    EXPECT_THAT(item.proc_argv.back(), HasSubstr("&vc=pause"));
    EXPECT_EQ(item.next_remote_poll, clock_us + second_us) << "and not a moment later";
  });
}

TEST_F(lifecycle_remote, command_that_cannot_be_sent_is_sent_again) {
  inside([&] {
    kernel.fork = [] { return -1; };
    QueueItem& item = add_known(REMOTE_COMMAND, far_document());
    item.sm.remote_command = "pause";
    item.idle();
    EXPECT_EQ(item.sm.remote.state, REMOTE_COMMAND);
    EXPECT_EQ(item.sm.remote_command, "pause");
    EXPECT_EQ(item.next_remote_poll, clock_us + second_us);
  });
}

TEST_F(lifecycle_download, waits_for_other_transfers_and_while_paused) {
  inside([&] {
    const fake_child child;
    QueueItem other;
    QueueItem& item = add_known(REMOTE_DOWNLOAD, far_document("done"));
    item_active_download_in_action = &other;
    EXPECT_FALSE(starts(item)) << "another download";
    item_active_download_in_action = nullptr;
    for (QueueItem* uploading : {&other, &item}) {
      item_active_upload_in_action = uploading;
      EXPECT_FALSE(starts(item)) << "an upload, whoever's";
    }
    item_active_upload_in_action = nullptr;
    item.paused = true;
    EXPECT_FALSE(starts(item)) << "paused";
    item.paused = false;
    EXPECT_TRUE(starts(item));
    EXPECT_EQ(item_active_download_in_action, &item);
  });
}

TEST_F(lifecycle_download, that_cannot_be_started_cancels) {
  inside([&] {
    kernel.fork = [] { return -1; };
    add_known(REMOTE_DOWNLOAD, far_document("done")).idle();
    EXPECT_EQ(status_writes.back(), "cancelled: Unable to download remote finished transcode");
    EXPECT_EQ(item_active_download_in_action, nullptr);
  });
}

TEST_F(lifecycle_download, lines_are_printed_and_the_last_progress_is_written_once) {
  inside([&] {
    const fake_child child;
    QueueItem& item = add_known(REMOTE_DOWNLOAD, far_document("done"));
    ASSERT_TRUE(starts(item));
    status_writes.clear();
    const stderr_capture capture;
    child.print("  1200K .......... 45%\r\nword\n 1250K ,,.. .. 46% 1.2M\n 1300K .. 4");
    item.idle();
    EXPECT_EQ(item.progress, 4600);
    EXPECT_THAT(status_writes, ElementsAre("remote transcode: Downloading transcoded file..."));
    EXPECT_EQ(capture.text(), "STDOUT WGET:   1200K .......... 45%\nSTDOUT WGET: word\n"
                              "STDOUT WGET:  1250K ,,.. .. 46% 1.2M\n");
    child.print("7%\n 1300K .. 47%\n");
    item.idle();
    EXPECT_EQ(item.progress, 4700);
    EXPECT_EQ(status_writes.size(), 2U);
    child.print(" 1300K .. 47%\n");
    item.idle();
    EXPECT_EQ(status_writes.size(), 2U) << "nothing changed";
  });
}

TEST_F(lifecycle_remote, other_steps_leave_their_output_unread_until_they_end) {
  inside([&] {
    for (const auto state : {REMOTE_ADD, REMOTE_MONITOR, REMOTE_COMMAND}) {
      const fake_child child;
      QueueItem& item = add_known(state, far_document());
      ASSERT_TRUE(item.open_proc_stdout());
      fake_child::run_for(item);
      child.print("1K .. 50%\n");
      status_writes.clear();
      item.idle();
      EXPECT_EQ(item.progress, 0);
      EXPECT_STREQ(item.proc_stdout_getline(), "1K .. 50%");
      EXPECT_THAT(status_writes, IsEmpty());
      item.proc_pid = -1;
    }
  });
}

TEST_F(lifecycle_remote, ends_in_thumbnail) {
  inside([&] {
    QueueItem& item = add(REMOTE_DONE);
    item.state_message = "Remote item: download complete";
    item.idle();
    EXPECT_EQ(item.sm.thumbnail.state, THUMBNAIL_INIT);
    EXPECT_THAT(status_writes, ElementsAre("thumbnail: Remote item: download complete"));
  });
}
