// What a tool and its tasks tell each other in their folder.
#include <fstream>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/unique_fd.h"
#include "tests/support/media/tool_run.h"
#include "tools/qxmi_vod_transcode/random_word.h"
#include "tools/qxmi_vod_transcode/spread/shared_folder.h"

namespace {

struct shared_folder : testing::Test {
  shared_folder() {
    fd.reset(open(folder.file("").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    note.token = "a1";
    note.source = "/mnt/media/a \"b\"\n\xff.mpg";
    note.profile = "720";
    note.level = 3;
    note.threads = 4;
    note.segment_seconds = 20;
    note.ranges = {{0, 2}, {5, 6}};
  }
  bool reads() { return read_task_note(fd.get(), read); }
  void put(const std::string& text) { std::ofstream(folder.file("tasks")) << text; }

  qx_test::scratch_folder folder;
  unique_fd fd;
  task_note note;
  task_note read;
};

}  // namespace

TEST_F(shared_folder, keeps_what_the_tasks_have_to_do) {
  ASSERT_TRUE(write_task_note(fd.get(), note));
  ASSERT_TRUE(reads());
  EXPECT_EQ(read.token, note.token);
  EXPECT_EQ(read.source, note.source);
  EXPECT_EQ(read.profile, "720");
  EXPECT_EQ(read.level, 3);
  EXPECT_EQ(read.threads, 4);
  EXPECT_EQ(read.segment_seconds, 20);
  ASSERT_EQ(read.ranges.size(), 2U);
  EXPECT_EQ(read.ranges[1].first, 5);
  EXPECT_EQ(read.ranges[1].end, 6);
}

TEST_F(shared_folder, has_nothing_to_do_for_tasks_without_a_whole_note) {
  EXPECT_FALSE(reads());
  for (const char* const text :
       {"", "{", "[]", R"({"token":"a"})",
        R"({"token":"a","source":"/s","threads":1,"segment_seconds":20,"ranges":[]})",
        R"({"token":"a","source":"/s","threads":1,"segment_seconds":20,"ranges":[[2,2]]})",
        R"({"token":"a","source":"/s","threads":1,"segment_seconds":20,"ranges":[[-1,2]]})",
        R"({"token":"a","source":"/s","threads":1,"segment_seconds":20,"ranges":[[0.1,0.2]]})"}) {
    put(text);
    EXPECT_FALSE(reads()) << text;
  }
  put(R"({"token":"a","source":"/s","threads":1,"segment_seconds":20,"ranges":[[0,1]]})");
  EXPECT_TRUE(reads());
}

TEST_F(shared_folder, takes_no_numbers_that_no_tool_writes) {
  const auto reads_with = [this](const std::string& field) {
    put(R"({"token":"a","source":"/s","threads":1,"segment_seconds":20,"ranges":[[0,1]],)" + field +
        "}");
    return reads();
  };
  for (const char* const field :
       {R"("threads":0)", R"("threads":1025)", R"("segment_seconds":1)", R"("segment_seconds":601)",
        R"("level":-1)", R"("level":8)", R"("ranges":[[0,1e300]])", R"("ranges":[[-1e300,1]])",
        R"("lengths":[0,0,0,0])", R"("lengths":[1,-1,0,0])", R"("lengths":[1e9,1,1,1])"}) {
    EXPECT_FALSE(reads_with(field)) << field;
  }
  for (const char* const field : {R"("threads":1024)", R"("segment_seconds":600)", R"("level":7)",
                                  R"("lengths":[1,1,0,0])"}) {
    EXPECT_TRUE(reads_with(field)) << field;
  }
}

TEST_F(shared_folder, hands_on_measured_lengths_to_the_last_digit) {
  note.lengths = measured_lengths{1234.0 / 7, 1000.0 / 7, 0.1, 1e5};
  ASSERT_TRUE(write_task_note(fd.get(), note));
  ASSERT_TRUE(reads());
  ASSERT_TRUE(read.lengths.has_value());
  EXPECT_EQ(read.lengths->all, 1234.0 / 7);
  EXPECT_EQ(read.lengths->picture, 1000.0 / 7);
  EXPECT_EQ(read.lengths->sound, 0.1);
  EXPECT_EQ(read.lengths->jump_limit, 1e5);
  note.lengths.reset();
  ASSERT_TRUE(write_task_note(fd.get(), note));
  ASSERT_TRUE(reads());
  EXPECT_FALSE(read.lengths.has_value());
}

TEST_F(shared_folder, says_which_version_has_divided_the_work) {
  note.version = "0.1";
  ASSERT_TRUE(write_task_note(fd.get(), note));
  ASSERT_TRUE(reads());
  EXPECT_EQ(read.version, "0.1");
}

TEST_F(shared_folder, waits_for_no_writer_of_a_pipe) {
  for (const char* const name : {"tasks", "complaint"}) {
    ASSERT_EQ(mkfifo(folder.file(name).c_str(), 0600), 0);
  }
  EXPECT_FALSE(reads());
  EXPECT_EQ(read_complaint(fd.get()), "");
}

TEST_F(shared_folder, leaves_no_temporary_files) {
  ASSERT_TRUE(write_task_note(fd.get(), note));
  ASSERT_TRUE(renew_lease(fd.get()));
  ASSERT_TRUE(lease_age(fd.get(), "own").has_value());
  EXPECT_THAT(folder.names(), testing::ElementsAre("lease", "tasks"));
}

// Not even one of its own that was left and then made a link.
TEST_F(shared_folder, writes_to_nothing_that_is_there_already) {
  const std::string part = folder.file("lease~" + process_word());
  std::ofstream(folder.file("other")) << "text";
  ASSERT_EQ(link(folder.file("other").c_str(), part.c_str()), 0);
  ASSERT_TRUE(renew_lease(fd.get()));
  std::string text;
  std::getline(std::ifstream(folder.file("other")), text);
  EXPECT_EQ(text, "text");
}

TEST_F(shared_folder, tells_progress_and_completion_of_each_task) {
  EXPECT_EQ(read_task_progress(fd.get(), note, 1).frames, 0);
  ASSERT_TRUE(write_task_progress(fd.get(), note, 1, {250, -7}));
  EXPECT_EQ(read_task_progress(fd.get(), note, 1).frames, 250);
  EXPECT_EQ(read_task_progress(fd.get(), note, 1).work, -7);
  EXPECT_EQ(read_task_progress(fd.get(), note, 0).frames, 0);
  EXPECT_FALSE(is_task_done(fd.get(), note, 1));
  ASSERT_TRUE(set_task_done(fd.get(), note, 1));
  EXPECT_TRUE(is_task_done(fd.get(), note, 1));
  EXPECT_FALSE(is_task_done(fd.get(), note, 0));
}

TEST_F(shared_folder, does_not_mix_up_divisions) {
  set_task_done(fd.get(), note, 0);
  write_task_progress(fd.get(), note, 0, {99, 0});
  note.token = "b2";
  EXPECT_FALSE(is_task_done(fd.get(), note, 0));
  EXPECT_EQ(read_task_progress(fd.get(), note, 0).frames, 0);
}

TEST_F(shared_folder, has_a_lease_that_ages) {
  EXPECT_FALSE(lease_age(fd.get(), "own").has_value());
  ASSERT_TRUE(renew_lease(fd.get()));
  EXPECT_LE(lease_age(fd.get(), "own"), 60);
  timespec times[2] = {{0, UTIME_NOW}, {time(nullptr) - 100, 0}};
  ASSERT_EQ(utimensat(fd.get(), "lease", times, 0), 0);
  EXPECT_GE(lease_age(fd.get(), "own"), 99);
  ASSERT_TRUE(renew_lease(fd.get()));
  EXPECT_LE(lease_age(fd.get(), "own"), 60);
}

TEST_F(shared_folder, can_be_paused) {
  EXPECT_FALSE(is_paused(fd.get()));
  ASSERT_TRUE(set_paused(fd.get(), true));
  EXPECT_TRUE(is_paused(fd.get()));
  ASSERT_TRUE(set_paused(fd.get(), false));
  EXPECT_FALSE(is_paused(fd.get()));
  EXPECT_TRUE(set_paused(fd.get(), false));
}

TEST_F(shared_folder, keeps_the_last_complaint_on_one_line) {
  EXPECT_EQ(read_complaint(fd.get()), "");
  write_complaint(fd.get(), "n1: no\nroom");
  EXPECT_EQ(read_complaint(fd.get()), "n1: no\\nroom");
  write_complaint(fd.get(), "n2: another ffmpeg");
  EXPECT_EQ(read_complaint(fd.get()), "n2: another ffmpeg");
}

TEST_F(shared_folder, names_the_nodes_that_refuse) {
  EXPECT_THAT(refusing_nodes(fd.get()), testing::IsEmpty());
  set_refusing(fd.get(), "n2");
  set_refusing(fd.get(), "n10");
  set_refusing(fd.get(), "n1.example");
  put("");
  std::ofstream(folder.file("refuses-n1,n3"));
  std::ofstream(folder.file("refuses-"));
  std::ofstream(folder.file("refuses-n4~0123456789abcdef"));
  EXPECT_THAT(refusing_nodes(fd.get()), testing::ElementsAre("n1.example", "n10", "n2"));
}

TEST_F(shared_folder, lists_what_the_tasks_of_a_division_have_written) {
  set_task_done(fd.get(), note, 1);
  write_task_progress(fd.get(), note, 0, {10, 1});
  set_refusing(fd.get(), "n2");
  for (const char* const other :
       {"done-a1-2", "done-a1--1", "done-a1-0x", "done-b2-0", "done-a1-", "progress-a1-1.host-7"}) {
    std::ofstream(folder.file(other)) << "";
  }
  task_files files;
  ASSERT_TRUE(list_task_files(fd.get(), note, files));
  EXPECT_THAT(files.done, testing::ElementsAre(1));
  EXPECT_THAT(files.begun, testing::ElementsAre(0));
  EXPECT_THAT(files.refusing, testing::ElementsAre("n2"));
}

TEST_F(shared_folder, forgets_refusals_and_complaints) {
  set_refusing(fd.get(), "n2");
  write_complaint(fd.get(), "n2: another ffmpeg");
  forget_refusals(fd.get());
  EXPECT_THAT(refusing_nodes(fd.get()), testing::IsEmpty());
  EXPECT_EQ(read_complaint(fd.get()), "");
}

TEST_F(shared_folder, follows_no_link_that_lies_in_it) {
  ASSERT_EQ(symlink("/etc/passwd", folder.file("complaint").c_str()), 0);
  EXPECT_EQ(read_complaint(fd.get()), "");
}
