// Requests, turns and the queue file when memory runs out: every allocation fails once, and all
// from it on. The service goes on, and no job is lost.
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>

#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "control/control_server.h"
#include "lifecycle/restart.h"
#include "lifecycle/scheduler.h"
#include "platform/out_of_memory.h"
#include "platform/paths.h"
#include "platform/sliding_window_v4.h"
#include "queue/process_state.h"
#include "queue/queue_file.h"
#include "queue/slots.h"
#include "queue/transcode_queue.h"
#include "rules/limits.h"
#include "rules/texts.h"
#include "rules/transcoder_contract.h"
#include "tests/control/control_bench.h"
#include "tests/platform/own_mnt.h"
#include "tests/support/failing_memory.h"
#include "tests/support/files.h"

using namespace qx_test;
using ::testing::AnyOf;
using ::testing::HasSubstr;
namespace fs = std::filesystem;

namespace {

constexpr const char* long_source =
    "/mnt/media/a file with a rather long name, to be allocated.mpg";

constexpr char far_id[] = "the-id-of-the-job-in-the-queue-of-the-remote-server";
constexpr char far_reply[] =
    "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\n\r\n\n"
    "{\"entry id\": \"the-id-of-the-job-in-the-queue-of-the-remote-server\", "
    "\"input file\": \"/mnt/media/the uploaded source.mpg\", \"state\": \"the text over there\", "
    "\"transcode progress\": [2500, 10000], \"transcode state\": \"transcoding\"}";

class out_of_memory : public control_bench {
protected:
  out_of_memory() { EXPECT_EQ(request("test").status(), "OK") << "its connection is accepted"; }

  // Serves a client of its own. Returns whether it was told "OK"; nothing if it was disconnected.
  std::optional<bool> serve(const request_packet& packet, long nth, failing how, bool& has_failed) {
    const raw_connection connection(folder_ + "/socket");
    EXPECT_TRUE(connection.send(packet.encoded()));
    {
      const failing_memory short_memory(nth, how);
      for (int i = 0; i < 4; ++i) {
        with_memory("a test", handle_server_socket);
      }
      has_failed = failing_memory::has_failed();
    }
    for (int i = 0; i < 4; ++i) {
      handle_server_socket();
    }
    char first = 0;
    if (recv(connection.fd(), &first, 1, MSG_PEEK | MSG_DONTWAIT) <= 0) { return {}; }
    const reply_packet reply = connection.receive();
    EXPECT_THAT(reply.words.at(1), AnyOf("OK", "OUT OF MEMORY"));
    return reply.words.at(1) == "OK";
  }

  // The item's tool has printed this and ended.
  static void end_tool(QueueItem& item, const std::string& printed) {
    EXPECT_TRUE(QueueItem::_std_init_buffer(item.proc_stdout_buffer, proc_buffer_size));
    memcpy(item.proc_stdout_buffer->write_pos, printed.data(), printed.size());
    item.proc_stdout_buffer->write_pos += printed.size();
    item.proc_prepare_fork_spawn();
    item.proc_pid = fork();
    if (item.proc_pid == 0) { _exit(0); }
    siginfo_t info;
    waitid(P_PID, static_cast<id_t>(item.proc_pid), &info, WEXITED | WNOWAIT);
  }

  // An item whose listing tool has printed three profiles and ended.
  QueueItem& add_listed_item() {
    QueueItem& item = add_item(TRANSCODE_READY);
    item.sm.ready.set_state(READY_QUERY_PROFILES);
    EXPECT_TRUE(item.set_input_file(long_source));
    end_tool(item, listing_text({"1080-by-a-long-name", "720", "480"}));
    return item;
  }

  // An item whose remote server has been asked for its state, and has answered.
  QueueItem& add_polled_item() {
    QueueItem& item = add_remote_item(REMOTE_MONITOR);
    item.remote_info.entry_id = far_id;
    item.next_remote_poll = clock_us + 1000000;
    end_tool(item, far_reply);
    return item;
  }

  // A job that may be transcoded. Call it in an own /mnt.
  QueueItem& add_startable_item() {
    QueueItem& item = add_item(TRANSCODE_READY);
    item.sm.ready.set_state(READY_READY_TO_TRANSCODE);
    EXPECT_TRUE(item.set_input_file(long_source));
    EXPECT_TRUE(item.set_output_file("/mnt/main/tv/vod/the output of this job.mp4"));
    item.transcode_profile = "720-by-a-rather-long-name";
    item.quoted_profile = {item.transcode_profile};
    fs::create_directories(item.fileops_job_dir);
    return item;
  }

  static void drop_items() {
    for (QueueItem* item : transcode_queue) {
      delete item;
    }
    transcode_queue.clear();
  }
};

request_packet request_of(const char* word, const name_values& pairs) {
  request_packet packet;
  packet.words = {word};
  packet.pairs = pairs;
  return packet;
}

}  // namespace

TEST_F(out_of_memory, adds_a_job_whole_or_not_at_all) {
  const auto packet = request_of("add", {{"input file", long_source}});
  fail_each_allocation([&](long nth, failing how) {
    bool has_failed = false;
    const auto answer = serve(packet, nth, how, has_failed);
    if (answer) { EXPECT_EQ(transcode_queue.size(), *answer ? 1U : 0U) << nth; }
    if (!transcode_queue.empty()) { EXPECT_EQ(transcode_queue.front()->input_file, long_source); }
    EXPECT_EQ(request("test").status(), "OK") << nth;
    EXPECT_TRUE(has_failed || answer == true);
    drop_items();
    return has_failed;
  });
}

TEST_F(out_of_memory, answers_or_refuses_and_keeps_every_job) {
  QueueItem& item = add_item();
  ASSERT_TRUE(item.set_input_file(long_source));
  const name_values id = {{"entry id", item.entry_id}};
  name_values change = id;
  change.emplace_back("input file", long_source);
  for (const auto& packet :
       {request_of("list", {}), request_of("list", id), request_of("modify", change),
        request_of("pause", id), request_of("resume", id), request_of("cancel", id)}) {
    fail_each_allocation([&](long nth, failing how) {
      bool has_failed = false;
      const auto answer = serve(packet, nth, how, has_failed);
      EXPECT_EQ(transcode_queue.size(), 1U);
      EXPECT_EQ(item.input_file, long_source) << packet.words[0] << " " << nth;
      EXPECT_EQ(request("test").status(), "OK") << nth;
      EXPECT_TRUE(has_failed || answer == true);
      return has_failed;
    });
  }
}

TEST_F(out_of_memory, takes_over_a_listing_whole_or_cancels_the_job) {
  fail_each_allocation([&](long nth, failing how) {
    QueueItem& item = add_listed_item();
    item_query_profiles_in_action = &item;
    bool has_failed = false;
    {
      const failing_memory short_memory(nth, how);
      item.idle();
      has_failed = failing_memory::has_failed();
    }
    item.idle();
    EXPECT_FALSE(item.is_running()) << nth;
    EXPECT_EQ(item_query_profiles_in_action, nullptr) << nth;
    if (item.sm.state == TRANSCODE_READY) {
      EXPECT_EQ(item.sm.ready.state, READY_READY_TO_TRANSCODE) << nth;
      EXPECT_EQ(item.quoted_profile.size(), 3U) << nth;
    } else {
      EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLED) << nth;
      EXPECT_EQ(item.state_message, "Out of memory") << nth;
    }
    EXPECT_TRUE(has_failed || item.sm.state == TRANSCODE_READY);
    drop_items();
    return has_failed;
  });
}

// The tool of the step does not exist, so a child that was started ends at once.
TEST_F(out_of_memory, repeats_a_step_that_has_not_started_its_child_or_cancels_the_job) {
  fail_each_allocation([&](long nth, failing how) {
    QueueItem& item = add_item(TRANSCODE_READY);
    item.sm.ready.set_state(READY_CHECK_META);
    EXPECT_TRUE(item.set_input_file(long_source));
    bool has_failed = false;
    {
      const failing_memory short_memory(nth, how);
      item.idle();
      has_failed = failing_memory::has_failed();
    }
    if (item.proc_pid == -1) {
      EXPECT_FALSE(item.is_running()) << nth;
      EXPECT_EQ(item_metadata_ident_in_action, nullptr) << nth;
      item.idle();
    }
    if (item.proc_pid == -1) {
      EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLED) << nth;
      EXPECT_EQ(item.state_message, text_metadata_unreadable) << nth;
    } else {
      EXPECT_EQ(item.sm.ready.state, READY_CHECK_META) << nth;
      waitpid(item.proc_pid, nullptr, 0);
      item.proc_pid = -1;
    }
    EXPECT_TRUE(has_failed || item.sm.state == TRANSCODE_READY);
    drop_items();
    return has_failed;
  });
}

// The same, for a step whose tool prints to the service.
TEST_F(out_of_memory, without_a_tool_leaves_no_job_running_and_says_why) {
  fail_each_allocation([&](long nth, failing how) {
    QueueItem& item = add_item(TRANSCODE_READY);
    item.sm.ready.set_state(READY_QUERY_PROFILES);
    EXPECT_TRUE(item.set_input_file(long_source));
    clock_us += 2000000;  // the same line is printed once a second
    bool has_failed = false;
    testing::internal::CaptureStderr();
    {
      const failing_memory short_memory(nth, how);
      item.idle();
      has_failed = failing_memory::has_failed();
    }
    const std::string printed = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(has_failed || item.proc_pid != -1);
    if (item.proc_pid == -1) {
      EXPECT_THAT(printed, HasSubstr("Out of memory: ")) << nth;
      EXPECT_FALSE(item.is_running()) << nth;
      EXPECT_TRUE(item.sm.state == TRANSCODE_READY || item.sm.state == TRANSCODE_CANCELLED) << nth;
    } else {
      waitpid(item.proc_pid, nullptr, 0);
      item.proc_pid = -1;
    }
    drop_items();
    return has_failed;
  });
}

TEST_F(out_of_memory, takes_over_a_remote_reply_or_asks_again) {
  fail_each_allocation([&](long nth, failing how) {
    QueueItem& item = add_polled_item();
    bool has_failed = false;
    {
      const failing_memory short_memory(nth, how);
      item.idle();
      has_failed = failing_memory::has_failed();
    }
    item.idle();
    EXPECT_FALSE(item.is_running()) << nth;
    EXPECT_EQ(item.sm.state, TRANSCODE_REMOTE) << nth;
    EXPECT_EQ(item.sm.remote.state, REMOTE_MONITOR) << nth;
    EXPECT_EQ(item.remote_info.entry_id, far_id) << nth;
    EXPECT_TRUE(has_failed || item.progress == 2500);
    drop_items();
    return has_failed;
  });
}

TEST_F(out_of_memory, restarts_a_job_or_leaves_it_cancelled) {
  in_own_mnt([&] {
    fs::create_directories("/mnt/main/tv/vod");
    fs::create_directories("/mnt/media");
    write_file(long_source, "film");
    QueueItem& item = add_startable_item();
    fail_each_allocation([&](long nth, failing how) {
      item.sm.set_state(TRANSCODE_CANCELLED);
      bool has_failed = false;
      const auto answer =
          serve(request_of("restart", {{"entry id", item.entry_id}}), nth, how, has_failed);
      EXPECT_EQ(transcode_queue.size(), 1U);
      EXPECT_EQ(item.input_file, long_source) << nth;
      const bool is_ready = item.sm.state == TRANSCODE_READY;
      EXPECT_TRUE(is_ready || item.sm.state == TRANSCODE_CANCELLED) << nth;
      if (answer == true) { EXPECT_TRUE(is_ready) << nth; }
      EXPECT_TRUE(has_failed || answer == true);
      return has_failed;
    });
  });
}

TEST_F(out_of_memory, removes_a_job_or_leaves_it_to_be_removed_again) {
  fail_each_allocation([&](long nth, failing how) {
    QueueItem& item = add_item(TRANSCODE_DONE);
    const auto packet = request_of("remove", {{"entry id", item.entry_id}});
    bool has_failed = false;
    const auto answer = serve(packet, nth, how, has_failed);
    EXPECT_EQ(transcode_queue.size(), 1U) << "until the next scan";
    if (answer == true) { EXPECT_EQ(item.sm.state, TRANSCODE_CLEARED) << nth; }
    EXPECT_TRUE(has_failed || answer == true);
    bool is_short = false;
    EXPECT_EQ(serve(packet, 0, failing::once, is_short), true) << nth;
    EXPECT_EQ(item.sm.state, TRANSCODE_CLEARED) << nth;
    drop_items();
    return has_failed;
  });
}

TEST_F(out_of_memory, starts_a_transcode_or_tries_again_or_cancels) {
  in_own_mnt([&] {
    fs::create_directories("/mnt/main/tv/vod");
    fs::create_directories("/mnt/media");
    write_file(long_source, "film");
    fail_each_allocation([&](long nth, failing how) {
      QueueItem& item = add_startable_item();
      next_queue_scan = 0;
      bool has_failed = false;
      {
        const failing_memory short_memory(nth, how);
        with_memory("a test", idle_transcode_queue);
        has_failed = failing_memory::has_failed();
      }
      const bool is_started = item.proc_pid != -1;
      EXPECT_EQ(item.sm.state == TRANSCODE_TRANSCODING, is_started) << nth;
      EXPECT_EQ(item_active_transcode_in_action == &item, is_started) << nth;
      if (!is_started) {
        EXPECT_FALSE(item.is_running()) << nth;
        EXPECT_TRUE(item.sm.state == TRANSCODE_READY || item.sm.state == TRANSCODE_CANCELLED);
      }
      if (is_started) { waitpid(item.proc_pid, nullptr, 0); }
      item.proc_pid = -1;
      EXPECT_TRUE(has_failed || is_started);
      item_active_transcode_in_action = nullptr;
      drop_items();
      return has_failed;
    });
  });
}

TEST_F(out_of_memory, gives_every_item_its_turn_later) {
  add_item(TRANSCODE_INIT);
  fail_each_allocation([&](long nth, failing how) {
    next_queue_scan = 0;
    all_turns_due = true;
    bool has_failed = false;
    {
      const failing_memory short_memory(nth, how);
      with_memory("a test", idle_transcode_queue);
      has_failed = failing_memory::has_failed();
    }
    EXPECT_TRUE(all_turns_due) << "by the failure, or by the scan";
    EXPECT_EQ(transcode_queue.size(), 1U);
    return has_failed;
  });
}

TEST_F(out_of_memory, leaves_the_queue_file_whole) {
  in_own_mnt([&] {
    fs::create_directories("/mnt/main/tv");
    QueueItem& item = add_item(TRANSCODE_DONE);
    item.state_message = "a text that is long enough to be allocated";
    ASSERT_TRUE(write_queue());
    std::string before = read_file(path_queue_file);
    fail_each_allocation([&](long nth, failing how) {
      ++item.progress;
      bool has_failed = false;
      bool is_written = false;
      {
        const failing_memory short_memory(nth, how);
        is_written = with_memory("a test", write_queue);
        has_failed = failing_memory::has_failed();
      }
      EXPECT_EQ(read_file(path_queue_file) == before, !is_written) << nth;
      EXPECT_TRUE(has_failed || is_written);
      before = read_file(path_queue_file);
      return has_failed;
    });
  });
}

TEST_F(out_of_memory, reads_the_queue_file_whole_or_leaves_it_alone) {
  in_own_mnt([&] {
    fs::create_directories("/mnt/main/tv/vod");
    for (int i = 0; i < 2; ++i) {
      QueueItem& item = add_item(TRANSCODE_DONE);
      ASSERT_TRUE(item.set_input_file(long_source));
      fs::create_directories("/mnt/main/tv/fileops/jobs/" + std::to_string(item.fileops_job_id));
    }
    ASSERT_TRUE(write_queue());
    const std::string text = read_file(path_queue_file);
    fail_each_allocation([&](long nth, failing how) {
      drop_items();
      bool has_failed = false;
      bool is_read = false;
      {
        const failing_memory short_memory(nth, how);
        is_read = with_memory("a test", read_queue);
        has_failed = failing_memory::has_failed();
      }
      EXPECT_EQ(read_file(path_queue_file), text) << nth;
      if (is_read) { EXPECT_EQ(transcode_queue.size(), 2U) << nth; }
      return has_failed && !is_read;
    });
  });
}
