// The record of an item: a new one, its source and output, and its destruction.
#include <filesystem>

#include <fcntl.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "platform/metadata_v4.h"
#include "platform/sliding_window_v4.h"
#include "queue/slots.h"
#include "tests/queue/queue_bench.h"

using namespace qx_test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

namespace fs = std::filesystem;

namespace {

int open_something() {
  return open("/dev/null", O_RDONLY | O_CLOEXEC);
}

bool is_open(int fd) {
  return fcntl(fd, F_GETFD) != -1;
}

class queue_item : public queue_bench {};

}  // namespace

TEST_F(queue_item, new_one_only_has_approval_and_an_identity) {
  const QueueItem item;
  EXPECT_TRUE(item.approved);
  EXPECT_FALSE(item.delete_on_finish || item.paused || item.uploaded || item.waiting);
  EXPECT_FALSE(item.user_wants_remove || item.user_wants_cancel || item.user_wants_pause);
  EXPECT_FALSE(item.success || item.proc_stderr_to_stdout || item.proc_drain_stdout_before_reap);
  EXPECT_EQ(item.input_file + item.output_file + item.output_metadir + item.transcode_profile, "");
  EXPECT_EQ(item.fileops_job_dir + item.fileops_op + item.state_message, "");
  EXPECT_EQ(item.fileops_job_id, -1);
  EXPECT_EQ(item.progress, 0);
  EXPECT_EQ(item.next_remote_poll + item.next_upload_progress_read, 0U);
  EXPECT_THAT(item.quoted_profile, IsEmpty());
  EXPECT_TRUE(item.remote_info.empty());
  EXPECT_EQ(item.sm.state, TRANSCODE_INIT);
  EXPECT_EQ(item.proc_sm.state, TRANSCODE_INIT);
  EXPECT_TRUE(item.sm.initialized && item.proc_sm.initialized);
}

TEST_F(queue_item, new_one_has_no_process_and_nothing_open) {
  const QueueItem item;
  for (const int number :
       {item.proc_pid, item.proc_stdout_read_fd, item.proc_stdout_write_fd, item.proc_stdin_read_fd,
        item.proc_stdin_write_fd, item.input_fd, item.input_dir_fd}) {
    EXPECT_EQ(number, -1);
  }
  EXPECT_EQ(item.proc_stdin_buffer, nullptr);
  EXPECT_EQ(item.proc_stdout_buffer, nullptr);
  EXPECT_EQ(item.input_meta.context, nullptr);
  EXPECT_EQ(item.input_meta.entries, nullptr);
  EXPECT_THAT(item.proc_argv, IsEmpty());
}

TEST_F(queue_item, may_stay_in_init_for_fifteen_seconds) {
  EXPECT_EQ(QueueItem().init_deadline, start_of_clock + 15000000);
}

TEST_F(queue_item, entry_id_is_a_unique_lower_case_uuid) {
  const QueueItem first;
  const QueueItem second;
  EXPECT_THAT(first.entry_id,
              MatchesRegex("[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}"));
  EXPECT_NE(first.entry_id, second.entry_id);
}

TEST_F(queue_item, uuid_replaces_the_text) {
  std::string text = "before";
  gen_uuid(text);
  EXPECT_EQ(text.size(), 36U);
}

TEST_F(queue_item, uuid_shows_its_bytes_in_order) {
  answers.uuid = [](unsigned char* bytes) {
    for (int i = 0; i < 16; ++i) {
      bytes[i] = static_cast<unsigned char>(i * 0x11);
    }
  };
  EXPECT_EQ(QueueItem().entry_id, "00112233-4455-6677-8899-aabbccddeeff");
}

TEST_F(queue_item, source_is_split_into_folder_and_name) {
  QueueItem item;
  EXPECT_TRUE(item.set_input_file("/mnt/media/a b/clip.mpg"));
  EXPECT_EQ(item.input_file, "/mnt/media/a b/clip.mpg");
  EXPECT_EQ(item.input_dir, "/mnt/media/a b");
  EXPECT_EQ(item.input_name, "clip.mpg");
}

TEST_F(queue_item, source_in_the_root_has_an_empty_folder) {
  QueueItem item;
  EXPECT_TRUE(item.set_input_file("/clip.mov"));
  EXPECT_EQ(item.input_dir, "");
  EXPECT_EQ(item.input_name, "clip.mov");
}

TEST_F(queue_item, path_may_be_its_current_one) {
  QueueItem item;
  ASSERT_TRUE(item.set_input_file(source_file) && item.set_output_file("/mnt/main/tv/vod/a.mp4"));
  EXPECT_TRUE(item.set_input_file(item.input_file.c_str()));
  EXPECT_EQ(item.input_file, source_file);
  EXPECT_TRUE(item.set_output_file(item.output_file.c_str()));
  EXPECT_EQ(item.output_file, "/mnt/main/tv/vod/a.mp4");
}

TEST_F(queue_item, refused_source_clears_it) {
  for (const char* path : {"clip.mov", "", "media/clip.mov", "/mnt/media/", "/", "/mnt/.hidden",
                           "/mnt/media/..", "/mnt/a\nb", "./clip.mov"}) {
    QueueItem item;
    ASSERT_TRUE(item.set_input_file(source_file));
    EXPECT_FALSE(item.set_input_file(path)) << path;
    EXPECT_EQ(item.input_file + item.input_dir + item.input_name, "") << path;
  }
}

TEST_F(queue_item, new_source_closes_the_old_ones_descriptors) {
  for (const char* path : {"/mnt/media/next.mpg", "refused"}) {
    QueueItem item;
    const int folder = item.input_dir_fd = open_something();
    const int file = item.input_fd = open_something();
    item.input_meta.context = metadata_v4_context_create();
    item.input_meta.entries = metadata_v4_metadata_context_create();
    item.set_input_file(path);
    EXPECT_FALSE(is_open(folder) || is_open(file));
    EXPECT_EQ(item.input_dir_fd + item.input_fd, -2);
    EXPECT_EQ(item.input_meta.context, nullptr);
    EXPECT_EQ(item.input_meta.entries, nullptr);
  }
}

TEST_F(queue_item, output_sets_its_metadata_directory) {
  QueueItem item;
  EXPECT_TRUE(item.set_output_file("/mnt/main/tv/vod/a.mp4"));
  EXPECT_EQ(item.output_file, "/mnt/main/tv/vod/a.mp4");
  EXPECT_EQ(item.output_metadir, "/mnt/main/tv/vod/.a.mp4.metadata");
}

TEST_F(queue_item, empty_output_means_none) {
  QueueItem item;
  ASSERT_TRUE(item.set_output_file("/mnt/main/tv/vod/a.mp4"));
  EXPECT_TRUE(item.set_output_file(""));
  EXPECT_EQ(item.output_file + item.output_metadir, "");
}

TEST_F(queue_item, output_name_is_checked_after_all_slashes) {
  QueueItem item;
  EXPECT_TRUE(item.set_output_file("/mnt/main/tv/vod//a.mp4"));
  EXPECT_EQ(item.output_file, "/mnt/main/tv/vod//a.mp4");
  EXPECT_FALSE(item.set_output_file("/mnt/main/tv/vod//.a.mp4"));
}

TEST_F(queue_item, refused_output_clears_it) {
  const std::string too_long = "/mnt/main/tv/vod/" + std::string(246, 'x');
  for (const char* path :
       {"/mnt/main/tv/vodx/a.mp4", "/mnt/main/tv/vod", "/mnt/main/tv/vod/", "/mnt/main/tv/vod///",
        "a.mp4", "/mnt/main/tv/vod/b/a.mp4", "/mnt/main/tv/vod/..", "/mnt/main/tv/vod/.a",
        "/mnt/main/tv/VOD/a.mp4", " /mnt/main/tv/vod/a.mp4", too_long.c_str()}) {
    QueueItem item;
    ASSERT_TRUE(item.set_output_file("/mnt/main/tv/vod/before.mp4"));
    EXPECT_FALSE(item.set_output_file(path)) << path;
    EXPECT_EQ(item.output_file + item.output_metadir, "") << path;
  }
}

TEST_F(queue_item, picked_output_name_contains_time_profile_and_source) {
  QueueItem item;
  item.set_input_file("/mnt/media/clip.mov");
  item.transcode_profile = "720";
  EXPECT_EQ(item.pick_output_file_name_from_input(),
            "/mnt/main/tv/vod/1000000000.vod.720.clip.mov.mp4");
}

TEST_F(queue_item, picked_output_name_ends_with_mp4_once) {
  const std::pair<const char*, const char*> names[] = {
      {"clip.mp4", "clip.mp4"}, {"clip.MP4", "clip.MP4.mp4"},
      {"clip", "clip.mp4"},     {"clip.", "clip..mp4"},
      {"mp4", "mp4"},           {"a.mp4.mov", "a.mp4.mov.mp4"}};
  for (const auto& [name, expected] : names) {
    QueueItem item;
    item.input_name = name;
    EXPECT_EQ(item.pick_output_file_name_from_input(),
              std::string("/mnt/main/tv/vod/1000000000.vod..") + expected);
  }
}

TEST_F(queue_item, picked_output_name_has_room_for_4095_bytes) {
  QueueItem item;
  const std::string rest = "1000000000.vod.720.";
  item.transcode_profile = "720";
  item.input_name = std::string(4095 - rest.size() - 4, 'x') + ".mp4";
  EXPECT_EQ(item.pick_output_file_name_from_input().size(), strlen("/mnt/main/tv/vod/") + 4095);
  item.input_name.insert(0, "x");
  EXPECT_EQ(item.pick_output_file_name_from_input(), "");
}

TEST_F(queue_item, source_exists_if_anything_has_its_name) {
  QueueItem item;
  EXPECT_TRUE(item.input_file_not_exist()) << "no source";
  item.input_file = folder_ + "/clip.mpg";
  EXPECT_TRUE(item.input_file_not_exist());
  fs::create_symlink("nowhere", item.input_file);
  EXPECT_FALSE(item.input_file_not_exist()) << "a dangling link is there";
  item.input_file = "/dev/null/clip.mpg";
  EXPECT_FALSE(item.input_file_not_exist()) << "other failures do not tell";
}

TEST_F(queue_item, destruction_releases_everything_in_order) {
  std::vector<int> opened;
  strings calls;
  {
    QueueItem item;
    for (std::int32_t* fd :
         {&item.input_dir_fd, &item.input_fd, &item.proc_stdin_write_fd, &item.proc_stdin_read_fd,
          &item.proc_stdout_write_fd, &item.proc_stdout_read_fd}) {
      opened.push_back(*fd = open_something());
    }
    item.proc_stdin_buffer = sliding_window_v4_create_buffer(16384);
    item.proc_stdout_buffer = sliding_window_v4_create_buffer(16384);
    item.input_meta.context = metadata_v4_context_create();
    item.input_meta.entries = metadata_v4_metadata_context_create();
    calls_noted = &calls;
  }
  calls_noted = nullptr;
  const auto closed = [&](std::size_t i) { return "close " + std::to_string(opened[i]); };
  EXPECT_THAT(calls, ElementsAre(closed(0), closed(1), "metadata entries", "metadata context",
                                 "buffer", closed(2), closed(3), "buffer", closed(4), closed(5)));
  for (const int fd : opened) {
    EXPECT_FALSE(is_open(fd));
  }
}

TEST_F(queue_item, destruction_releases_only_its_own_slots) {
  QueueItem other;
  item_query_profiles_in_action = item_active_upload_in_action = &other;
  {
    QueueItem item;
    item_metadata_ident_in_action = item_active_transcode_in_action =
        item_active_download_in_action = &item;
  }
  EXPECT_EQ(item_metadata_ident_in_action, nullptr);
  EXPECT_EQ(item_active_transcode_in_action, nullptr);
  EXPECT_EQ(item_active_download_in_action, nullptr);
  EXPECT_EQ(item_query_profiles_in_action, &other);
  EXPECT_EQ(item_active_upload_in_action, &other);
}

TEST_F(queue_item, destruction_warns_about_a_child_and_leaves_it_alone) {
  const auto text = stderr_of([] {
    QueueItem item;
    item.set_input_file(source_file);
    item.entry_id = "the-id";
    item.proc_pid = 4242;
  });
  EXPECT_EQ(text, "WARNING: QueueItem, subprocess for '' (entry='the-id') is still running at "
                  "destructor\n");
  EXPECT_THAT(signals_sent, IsEmpty());
}

TEST_F(queue_item, destruction_without_a_child_prints_nothing) {
  EXPECT_EQ(stderr_of([] { QueueItem(); }), "");
}

TEST_F(queue_item, remote_job_is_empty_without_any_of_its_parts) {
  QueueItem::remote_job job;
  EXPECT_TRUE(job.empty());
  for (std::string* text : {&job.ip, &job.name, &job.entry_id}) {
    *text = "x";
    EXPECT_FALSE(job.empty());
    text->clear();
  }
  job.json = json_array{};
  EXPECT_FALSE(job.empty());
}
