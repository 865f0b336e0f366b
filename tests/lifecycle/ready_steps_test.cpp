// The steps of "ready": the source's metadata, listing the profiles, choosing one.
#include <map>
#include <stdexcept>

#include <gmock/gmock.h>

#include "platform/metadata_v4.h"
#include "platform/transcode_settings.h"
#include "queue/process_state.h"
#include "tests/exec/exec_bench.h"

using namespace qx_test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class ready_steps : public exec_bench {
protected:
  ready_steps() { transcode_settings.clear(); }

  // With these metadata; none for an empty text.
  QueueItem& add(const std::string& metadata = "", ready_states state = READY_CHECK_META) {
    QueueItem& item = add_ready_item(state);
    const std::string name = "clip" + std::to_string(item.fileops_job_id) + ".mpg";
    EXPECT_TRUE(item.set_input_file((folder_ + "/" + name).c_str()));
    if (!metadata.empty()) { write_file(folder_ + "/." + name + ".metadata/metadata", metadata); }
    return item;
  }
  static void expect_rejected(QueueItem& item, const std::string& text) {
    status_writes.clear();
    EXPECT_TRUE(item.ready_start_check_meta());
    EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLED);
    EXPECT_THAT(status_writes, ElementsAre("cancelled: " + text));
    EXPECT_EQ(item.input_meta.context, nullptr);
    EXPECT_EQ(item.input_meta.entries, nullptr);
  }
  static std::string chosen(QueueItem& item, std::int32_t max_profile) {
    transcode_settings.max_profile = max_profile;
    item.transcode_profile.clear();
    item.auto_choose_transcode_profile();
    return item.transcode_profile;
  }

  fake_child child_;
};

using metadata_check = ready_steps;
using profile_listing = ready_steps;
using profile_choice = ready_steps;

}  // namespace

TEST_F(metadata_check, transcodeable_types_continue) {
  for (const char* type :
       {"video/mp4", "video/mp2t", "audio/mpeg", "video/", "application/x-velmar-playlist",
        "application/x-velmar-multiregion-playlist"}) {
    QueueItem& item = add(std::string("file type=") + type + "\n");
    const stderr_capture capture;
    EXPECT_TRUE(item.ready_start_check_meta());
    EXPECT_EQ(item.sm.ready.state, READY_QUERY_PROFILES) << type;
    EXPECT_EQ(item.input_meta.entries, nullptr);
    EXPECT_EQ(capture.text(), "Item '" + item.input_file + "' (" + item.entry_id +
                                  ") metadata is valid for transcode\n");
  }
  EXPECT_EQ(child_.started, 0);
}

TEST_F(metadata_check, other_types_are_rejected) {
  for (const char* type :
       {"image/png", "application/x-velmar-playlist2", "application/x-velmar-multiregion-playlist ",
        "video", "Video/mp4", " video/mp4", "application/octet-stream"}) {
    expect_rejected(add(std::string("file type=") + type + "\n"),
                    "Rejected: File type is not transcodeable");
  }
  EXPECT_EQ(child_.started, 0);
}

TEST_F(metadata_check, offline_files_are_rejected) {
  for (const char* value : {"1", "2", " 7x"}) {
    expect_rejected(add(std::string("file type=video/mp4\noffline=") + value + "\n"),
                    "Rejected: File is marked offline");
  }
}

TEST_F(metadata_check, offline_takes_precedence_over_the_type) {
  expect_rejected(add("file type=image/png\noffline=1\n"), "Rejected: File is marked offline");
  expect_rejected(add("offline=1\n"), "Rejected: File is marked offline");
}

TEST_F(metadata_check, other_values_of_offline_are_not) {
  for (const char* value : {"0", "", "-1", "yes"}) {
    QueueItem& item = add(std::string("file type=video/mp4\noffline=") + value + "\n");
    EXPECT_TRUE(item.ready_start_check_meta());
    EXPECT_EQ(item.sm.ready.state, READY_QUERY_PROFILES) << value;
  }
}

TEST_F(metadata_check, missing_metadata_are_made_by_the_tool) {
  for (const char* metadata : {"", "title=x\n", "file type=\n"}) {
    QueueItem& item = add(metadata);
    const stderr_capture capture;
    EXPECT_TRUE(item.ready_start_check_meta());
    EXPECT_THAT(item.proc_argv, ElementsAre("/usr/bin/qxmi_startitem", "--daemon", "--identify",
                                            "--create-meta", "--file", item.input_file));
    EXPECT_EQ(item.proc_pid, fake_child::pid);
    EXPECT_EQ(item.proc_stdout_read_fd, -1);
    EXPECT_EQ(item.sm.ready.state, READY_CHECK_META);
    EXPECT_EQ(capture.text(),
              "Item '" + item.input_file + "' (" + item.entry_id +
                  ") metadata is NOT valid for transcode. Attempting to create metadata.\n");
  }
}

TEST_F(metadata_check, unreadable_metadata_fail) {
  QueueItem& item = add("no entry\n");
  EXPECT_FALSE(item.ready_start_check_meta());
  EXPECT_EQ(item.sm.state, TRANSCODE_READY) << "the driver cancels it";
  EXPECT_EQ(child_.started, 0);
}

TEST_F(metadata_check, needs_an_idle_ready_item) {
  QueueItem& item = add("file type=video/mp4\n");
  DIE = 1;
  EXPECT_FALSE(item.ready_start_check_meta());
  DIE = 0;
  fake_child::run_for(item);
  EXPECT_FALSE(item.ready_start_check_meta());
  EXPECT_FALSE(item.proc_spawn_metadata_identify());
  item.proc_pid = -1;
  ASSERT_TRUE(item.open_proc_stdout());
  EXPECT_FALSE(item.ready_start_check_meta());
  EXPECT_FALSE(item.proc_spawn_metadata_identify());
  item.close_proc_stdout();
  item.sm.set_state(TRANSCODE_TRANSCODING);
  EXPECT_FALSE(item.ready_start_check_meta());
  EXPECT_EQ(child_.started, 0);
}

TEST_F(metadata_check, identification_runs_without_pipes) {
  QueueItem& item = add();
  item.proc_drain_stdout_before_reap = true;
  ASSERT_TRUE(QueueItem::_std_open_anonpipe(item.proc_stdin_read_fd, item.proc_stdin_write_fd));
  EXPECT_TRUE(item.proc_spawn_metadata_identify());
  EXPECT_EQ(item.proc_stdin_write_fd, -1);
  EXPECT_FALSE(item.proc_drain_stdout_before_reap);
}

TEST_F(profile_listing, is_done_by_the_transcoder) {
  QueueItem& item = add("", READY_QUERY_PROFILES);
  item.proc_drain_stdout_before_reap = true;
  const stderr_capture capture;
  EXPECT_TRUE(item.ready_start_query_profiles());
  EXPECT_THAT(item.proc_argv,
              ElementsAre("/usr/bin/qxmi_vod_transcode", "--file", item.input_file, "--quote"));
  EXPECT_NE(item.proc_stdout_read_fd, -1);
  EXPECT_NE(item.proc_stdout_buffer, nullptr);
  EXPECT_EQ(item.proc_stdin_write_fd, -1);
  EXPECT_FALSE(item.proc_drain_stdout_before_reap);
  EXPECT_EQ(capture.text(), "Item '" + item.input_file + "' (" + item.entry_id +
                                ") asking transcoder for valid profiles.\n");
}

TEST_F(profile_listing, is_limited_to_the_highest_profile) {
  transcode_settings.max_profile = 720;
  QueueItem& item = add("", READY_QUERY_PROFILES);
  EXPECT_TRUE(item.ready_start_query_profiles());
  EXPECT_THAT(item.proc_argv, ElementsAre("/usr/bin/qxmi_vod_transcode", "--file", item.input_file,
                                          "--quote", "--height", "720"));
}

TEST_F(profile_listing, has_no_limit_below_one) {
  for (const int max_profile : {0, -1, -720}) {
    transcode_settings.max_profile = max_profile;
    QueueItem& item = add("", READY_QUERY_PROFILES);
    EXPECT_TRUE(item.ready_start_query_profiles());
    EXPECT_EQ(item.proc_argv.size(), 4U);
  }
}

TEST_F(profile_listing, is_not_repeated) {
  QueueItem& item = add("", READY_QUERY_PROFILES);
  item.quoted_profile = {"720"};
  EXPECT_TRUE(item.ready_start_query_profiles());
  EXPECT_EQ(item.sm.ready.state, READY_READY_TO_TRANSCODE);
  EXPECT_EQ(child_.started, 0);
}

TEST_F(profile_listing, known_after_the_last_step_is_a_bug) {
  QueueItem& item = add("", READY_READY_TO_TRANSCODE);
  item.quoted_profile = {"720"};
  try {
    item.ready_start_query_profiles();
    ADD_FAILURE() << "nothing was thrown";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "Invalid state machine index");
  }
}

TEST_F(profile_listing, needs_an_idle_ready_item) {
  QueueItem& item = add("", READY_QUERY_PROFILES);
  fake_child::run_for(item);
  EXPECT_FALSE(item.ready_start_query_profiles());
  item.proc_pid = -1;
  ASSERT_TRUE(item.open_proc_stdout());
  EXPECT_FALSE(item.ready_start_query_profiles());
  item.close_proc_stdout();
  DIE = 1;
  EXPECT_FALSE(item.ready_start_query_profiles());
  DIE = 0;
  item.sm.set_state(TRANSCODE_CANCELLED);
  EXPECT_FALSE(item.ready_start_query_profiles());
  EXPECT_EQ(child_.started, 0);
}

TEST_F(profile_choice, is_the_first_one_not_too_high) {
  QueueItem& item = add();
  item.quoted_profile = {"1080", "720", "480"};
  const std::map<std::int32_t, std::string> choices = {
      {-1, "1080"}, {0, "1080"},  {4000, "1080"}, {1080, "1080"}, {1079, "720"},
      {720, "720"}, {719, "480"}, {480, "480"},   {360, "480"}};
  for (const auto& [max_profile, profile] : choices) {
    EXPECT_EQ(chosen(item, max_profile), profile) << max_profile;
  }
}

TEST_F(profile_choice, compares_the_number_at_the_start_of_a_name) {
  QueueItem& item = add();
  item.quoted_profile = {"1080p", "audio", "480"};
  EXPECT_EQ(chosen(item, 720), "audio") << "no number is 0";
}

TEST_F(profile_choice, follows_the_order_of_the_listing) {
  QueueItem& item = add();
  item.quoted_profile = {"480", "720"};
  EXPECT_EQ(chosen(item, 720), "480");
}

TEST_F(profile_choice, is_logged) {
  QueueItem& item = add();
  item.quoted_profile = {"1080", "720"};
  chosen(item, 720);
  chosen(item, 360);
  EXPECT_THAT(status_writes, ElementsAre("ready: ", "ready: "));
}

TEST_F(profile_choice, made_earlier_is_kept) {
  QueueItem& item = add();
  item.quoted_profile = {"1080"};
  item.transcode_profile = "mine";
  item.auto_choose_transcode_profile();
  EXPECT_EQ(item.transcode_profile, "mine");
  EXPECT_THAT(status_writes, IsEmpty());
}

TEST_F(profile_choice, from_nothing_is_a_bug) {
  GTEST_FLAG_SET(death_test_style, "fast");
  QueueItem& item = add();
  kernel = {};
  EXPECT_DEATH(item.auto_choose_transcode_profile(), "i != quoted_profile.rend\\(\\)");
}
