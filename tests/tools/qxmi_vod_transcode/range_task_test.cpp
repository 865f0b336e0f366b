// What a node of a cluster does: the tool makes a range of segments in the folder of another one.
#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/unique_fd.h"
#include "tests/support/media/made_media.h"
#include "tests/support/skip.h"
#include "tests/support/wait_until.h"
#include "tests/tools/qxmi_vod_transcode/checkpoint_bench.h"
#include "tools/qxmi_vod_transcode/segment_store.h"
#include "tools/qxmi_vod_transcode/source_media.h"
#include "tools/qxmi_vod_transcode/spread/shared_folder.h"

using namespace qx_test;
using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

namespace fs = std::filesystem;

// The folder of a tool that has been killed after its first segment.
class range_task : public checkpoint_bench {
protected:
  void SetUp() override {
    interrupt_after(1, SIGKILL);
    work = segment_folder();
    fd.reset(open(work.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    note.token = "a1";
    note.source = source;
    note.profile = "72";
    note.threads = 1;
    note.segment_seconds = 2;
    note.ranges = {{3, 4}, {4, 6}};
    ASSERT_TRUE(write_task_note(fd.get(), note));
    ASSERT_TRUE(renew_lease(fd.get()));
    setenv("SLURMD_NODENAME", "n7", 1);
  }
  ~range_task() override { unsetenv("SLURMD_NODENAME"); }

  tool_result run_task(const std::string& number) const {
    return run_tool("qxmi_vod_transcode", {"--work", work, "--task", number});
  }
  bool has(const std::string& name) const { return fs::exists(work + "/" + name); }
  std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const fs::directory_entry& entry : fs::directory_iterator(work)) {
      found.push_back(entry.path().filename());
    }
    std::sort(found.begin(), found.end());
    return found;
  }
  // Waits with a stopped engine until the pause ends.
  void start_paused() {
    ASSERT_TRUE(set_paused(fd.get(), true));
    task.emplace("qxmi_vod_transcode", std::vector<std::string>{"--work", work, "--task", "0"});
    engine = task->engine();
    ASSERT_TRUE(wait_until([&] { return process_state(engine) == 'T'; }));
  }
  void age_lease(int seconds) const {
    const timespec times[2] = {{0, UTIME_NOW}, {time(nullptr) - seconds, 0}};
    ASSERT_EQ(utimensat(fd.get(), "lease", times, 0), 0);
  }

  std::string work;
  unique_fd fd;
  task_note note;
  std::optional<tool_run> task;
  pid_t engine = -1;
};

// In the range of the first task.
struct range_task_of_changing_sound : range_task {
  range_task_of_changing_sound() { use_pieces({{7.0, 1}, {5.0, 2}}); }
};

}  // namespace

TEST_F(range_task, makes_its_range_and_nothing_else) {
  EXPECT_EQ(run_task("0").end.status, 0);
  EXPECT_TRUE(has("v000003.mp4") && has("s000003.adts"));
  EXPECT_FALSE(has("v000002.mp4") || has("v000004.mp4") || has("s000004.adts"));
  EXPECT_TRUE(is_task_done(fd.get(), note, 0));
  EXPECT_FALSE(is_task_done(fd.get(), note, 1));
}

TEST_F(range_task, makes_the_end_of_the_output_if_its_range_is_the_last) {
  EXPECT_EQ(run_task("0").end.status, 0);
  EXPECT_EQ(run_task("1").end.status, 0);
  EXPECT_TRUE(has("v000005.mp4") && has("s000005.adts"));
  expect_whole(resume());
  expect_as_in_one_piece();
}

TEST_F(range_task, makes_only_what_is_missing_of_its_range) {
  ASSERT_EQ(run_task("0").end.status, 0);
  const auto made = fs::last_write_time(work + "/v000003.mp4");
  fs::remove(work + "/s000003.adts");
  ASSERT_EQ(run_task("0").end.status, 0);
  EXPECT_EQ(fs::last_write_time(work + "/v000003.mp4"), made);
  EXPECT_TRUE(has("s000003.adts"));
}

// As another task has found out.
TEST_F(range_task, leaves_sound_that_must_be_whole_to_its_tool) {
  segment_store(fd.get(), segment_plan()).set_needs_whole_sound(true);
  EXPECT_EQ(run_task("0").end.status, 0);
  EXPECT_TRUE(has("v000003.mp4"));
  EXPECT_FALSE(has("s000003.adts"));
  EXPECT_TRUE(is_task_done(fd.get(), note, 0));
}

TEST_F(range_task_of_changing_sound, leaves_the_sound_to_its_tool) {
  EXPECT_EQ(run_task("0").end.status, 0);
  EXPECT_TRUE(has("v000003.mp4"));
  EXPECT_TRUE(is_task_done(fd.get(), note, 0));
  EXPECT_EQ(read_complaint(fd.get()), "");
  const tool_result result = resume();
  EXPECT_EQ(result.end.status, 0);
  EXPECT_THAT(result.errors, testing::ElementsAre(HasSubstr(": resumed at ")));
  expect_same_sound_as_in_one_piece();
}

TEST_F(range_task, refuses_another_source) {
  fs::last_write_time(source, fs::file_time_type::clock::now());
  EXPECT_EQ(run_task("0").end.status, 75);
  EXPECT_FALSE(has("v000003.mp4"));
  EXPECT_THAT(read_complaint(fd.get()), HasSubstr(": the source or what ffmpeg makes of it is"));
  EXPECT_THAT(refusing_nodes(fd.get()), testing::ElementsAre("n7"));
}

TEST_F(range_task, refuses_where_it_does_not_see_the_source) {
  fs::remove(source);
  EXPECT_EQ(run_task("0").end.status, 75);
  EXPECT_THAT(read_complaint(fd.get()), HasSubstr("No such file"));
}

TEST_F(range_task, refuses_a_folder_without_a_note_and_a_range_that_it_does_not_have) {
  EXPECT_EQ(run_task("2").end.status, 75);
  fs::remove(work + "/tasks");
  EXPECT_EQ(run_task("0").end.status, 75);
  work = "/nowhere";
  EXPECT_EQ(run_task("0").end.status, 75);
}

TEST_F(range_task, ends_when_its_tool_has_gone) {
  age_lease(61);
  EXPECT_EQ(run_task("0").end.status, 1);
  EXPECT_FALSE(is_task_done(fd.get(), note, 0));
}

TEST_F(range_task, looks_for_its_tool_before_anything_else) {
  age_lease(61);
  fs::remove(source);
  EXPECT_EQ(run_task("0").end.status, 1);
  EXPECT_EQ(read_complaint(fd.get()), "");
  EXPECT_THAT(refusing_nodes(fd.get()), IsEmpty());
}

TEST_F(range_task, refuses_a_tool_of_another_version) {
  note.version = "0.0.1";
  ASSERT_TRUE(write_task_note(fd.get(), note));
  EXPECT_EQ(run_task("0").end.status, 75);
  EXPECT_THAT(read_complaint(fd.get()), HasSubstr(": the transcoder or ffmpeg is another one"));
  EXPECT_THAT(refusing_nodes(fd.get()), testing::ElementsAre("n7"));
}

// Another task of the same node may have no such trouble.
TEST_F(range_task, fails_but_does_not_refuse_where_the_source_cannot_be_read_now) {
  fs::remove(source);
  fs::create_directory(source);
  EXPECT_EQ(run_task("0").end.status, 1);
  EXPECT_THAT(read_complaint(fd.get()), HasSubstr("is a directory"));
  EXPECT_THAT(refusing_nodes(fd.get()), IsEmpty());
}

TEST_F(range_task, fails_but_does_not_refuse_where_the_key_cannot_be_read_now) {
  fs::remove(work + "/key");
  fs::create_directory(work + "/key");
  EXPECT_EQ(run_task("0").end.status, 1);
  EXPECT_THAT(read_complaint(fd.get()), HasSubstr(": the key: Is a directory"));
  EXPECT_THAT(refusing_nodes(fd.get()), IsEmpty());
}

TEST_F(range_task, touches_no_folder_that_others_can_enter) {
  const std::vector<std::string> before = names();
  fs::permissions(work, fs::perms::others_exec, fs::perm_options::add);
  EXPECT_EQ(run_task("0").end.status, 75);
  EXPECT_EQ(names(), before);
}

TEST_F(range_task, touches_no_folder_of_another_account) {
  const std::vector<std::string> before = names();
  if (chown(work.c_str(), 65534, 65534) != 0) { QX_SKIP_OR_FAIL_IN_CI("needs root"); }
  EXPECT_EQ(run_task("0").end.status, 75);
  EXPECT_EQ(names(), before);
}

TEST_F(range_task, follows_no_link_that_another_account_could_put_there) {
  const scratch_folder open_to_all;
  const std::string link = open_to_all.file("vods");
  ASSERT_EQ(chmod(open_to_all.path().c_str(), 0777), 0);
  ASSERT_EQ(symlink(folder.path().c_str(), link.c_str()), 0);
  if (lchown(link.c_str(), 65534, 65534) != 0) { QX_SKIP_OR_FAIL_IN_CI("needs root"); }
  work = link + work.substr(work.rfind('/'));
  EXPECT_EQ(run_task("0").end.status, 75);
  EXPECT_FALSE(has("v000003.mp4"));
}

TEST_F(range_task, waits_for_no_writer_of_a_pipe_in_the_folder) {
  for (const char* const name : {"key", "tasks"}) {
    fs::remove(work + "/" + name);
    ASSERT_EQ(mkfifo((work + "/" + name).c_str(), 0600), 0);
    EXPECT_EQ(run_task("0").end.status, 75) << name;
  }
}

TEST_F(range_task, shows_that_it_works_before_it_has_made_a_frame) {
  start_paused();
  EXPECT_NE(read_task_progress(fd.get(), note, 0).work, 0);
  EXPECT_EQ(read_task_progress(fd.get(), note, 0).frames, 0);
}

TEST_F(range_task, ends_soon_when_its_tool_dismisses_it) {
  start_paused();
  dismiss_tasks(fd.get());
  EXPECT_EQ(task->wait(30s).status, 1);
  EXPECT_EQ(read_complaint(fd.get()), "");
}

TEST_F(range_task, ends_soon_when_its_folder_is_removed) {
  start_paused();
  task->signal_group(SIGUSR1);
  fs::remove_all(work);
  EXPECT_EQ(task->wait(30s).status, 1);
}

TEST_F(range_task, of_a_former_division_puts_nothing_in_its_place) {
  start_paused();
  note.token = "b2";
  ASSERT_TRUE(write_task_note(fd.get(), note));
  ASSERT_TRUE(set_paused(fd.get(), false));
  EXPECT_EQ(task->wait().status, 1);
  EXPECT_FALSE(has("v000003.mp4"));
  EXPECT_FALSE(is_task_done(fd.get(), note, 0));
}

TEST_F(range_task, waits_while_the_tool_is_paused) {
  start_paused();
  ASSERT_TRUE(set_paused(fd.get(), false));
  EXPECT_EQ(task->wait().status, 0);
  EXPECT_TRUE(has("v000003.mp4"));
}

// The file that it has seen is removed only afterwards.
TEST_F(range_task, goes_on_with_the_signal_of_its_tool) {
  start_paused();
  task->signal_group(SIGUSR1);
  task->signal_group(SIGUSR2);
  EXPECT_TRUE(wait_until([&] { return process_state(engine) != 'T'; }, std::chrono::seconds(20)));
}

TEST_F(range_task, leaves_no_folder_of_its_engine) {
  ASSERT_EQ(run_task("0").end.status, 0);
  for (const fs::directory_entry& entry : fs::directory_iterator(work)) {
    const std::string begin = entry.path().filename().string().substr(0, 11);
    EXPECT_TRUE(begin != "run-v000003" && begin != "run-s000003") << entry;
  }
}

TEST_F(range_task, is_dismissed_when_its_tool_starts_again_without_a_cluster) {
  start_paused();
  const tool_result result = resume();
  EXPECT_EQ(task->wait(30s).status, 1);
  EXPECT_EQ(result.end.status, 0);
  EXPECT_TRUE(fs::exists(output));
}

// A source of which only the tool reads everything.
TEST(known_lengths, are_not_measured) {
  const scratch_folder folder;
  const std::string film =
      make_media(folder, "film.mkv", "-f lavfi -i testsrc2=s=128x72:r=25:d=1 -c:v libx264 -live 1");
  source_media media;
  std::string error;
  const std::optional<measured_lengths> known = measured_lengths{7.5, 7.25, 7.5, 0.0};
  ASSERT_TRUE(read_source_media(film, source_parts::picture_and_sound, media, error, known))
      << error;
  EXPECT_EQ(media.duration, 7.5);
  EXPECT_EQ(media.picture_duration, 7.25);
  EXPECT_TRUE(media.measured);
}

TEST(measured_lengths, are_handed_on_as_they_were_found) {
  const scratch_folder folder;
  const std::string film =
      make_media(folder, "film.mkv", "-f lavfi -i testsrc2=s=128x72:r=25:d=1 -c:v libx264 -live 1");
  source_media media;
  std::string error;
  ASSERT_TRUE(read_source_media(film, source_parts::picture_and_sound, media, error)) << error;
  const auto lengths = lengths_of(media);
  ASSERT_TRUE(lengths.has_value());
  EXPECT_DOUBLE_EQ(lengths->picture, 1.0);
  source_media again;
  ASSERT_TRUE(read_source_media(film, source_parts::picture_and_sound, again, error, lengths));
  EXPECT_EQ(again.duration, media.duration);
}

TEST(task_options, are_for_nodes_and_not_in_the_help) {
  EXPECT_EQ(run_tool("qxmi_vod_transcode", {"--work", "/x"}).end.status, 2);
  EXPECT_EQ(run_tool("qxmi_vod_transcode", {"--work", "/x", "--task", "-1"}).end.status, 2);
  for (const std::string& line : run_tool("qxmi_vod_transcode", {"--help"}).output) {
    EXPECT_THAT(line, testing::Not(HasSubstr("--work")));
    EXPECT_THAT(line, testing::Not(HasSubstr("--task")));
  }
}
