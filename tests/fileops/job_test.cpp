// A job in the file-operations subsystem: attaching, creating and removing it.
#include <filesystem>
#include <limits>

#include <unistd.h>

#include <gmock/gmock.h>

#include "queue/transcode_queue.h"
#include "tests/fileops/fileops_calls.h"
#include "tests/support/status_writes.h"

using namespace qx_test;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace fs = std::filesystem;

namespace {

class fileops_job : public queue_bench {};

}  // namespace

TEST_F(fileops_job, id_names_a_directory_that_need_not_exist) {
  QueueItem item;
  EXPECT_TRUE(item.set_fileops_job_id(12345678));
  EXPECT_EQ(item.fileops_job_id, 12345678);
  EXPECT_EQ(item.fileops_job_dir, "/mnt/main/tv/fileops/jobs/12345678");
  EXPECT_TRUE(item.set_fileops_job_id(0));
  EXPECT_EQ(item.fileops_job_dir, "/mnt/main/tv/fileops/jobs/0");
}

TEST_F(fileops_job, negative_id_detaches) {
  for (const int id : {-1, -7, std::numeric_limits<int>::min()}) {
    QueueItem item;
    item.set_fileops_job_id(7);
    EXPECT_TRUE(item.set_fileops_job_id(id));
    EXPECT_EQ(item.fileops_job_id, -1);
    EXPECT_EQ(item.fileops_job_dir, "");
  }
}

TEST_F(fileops_job, new_job_names_this_process_and_has_a_status) {
  inside([] {
    QueueItem item;
    item.state_message = "text";
    EXPECT_TRUE(item.init_fileops_job());
    EXPECT_EQ(item.fileops_job_dir, job_directory(item.fileops_job_id));
    EXPECT_EQ(item.fileops_op, "vod");
    EXPECT_EQ(read_file(item.fileops_job_dir + "/copy_pid"), std::to_string(getpid()) + "\n");
    EXPECT_THAT(status_lines(item), Contains("op=vod"));
    EXPECT_THAT(status_lines(item), Contains("state=text"));
    EXPECT_THAT(status_writes, ElementsAre("init: text"));
  });
}

TEST_F(fileops_job, jobs_have_different_numbers) {
  inside([] {
    QueueItem first;
    QueueItem second;
    EXPECT_TRUE(first.init_fileops_job() && second.init_fileops_job());
    EXPECT_NE(first.fileops_job_id, second.fileops_job_id);
    EXPECT_NE(first.fileops_job_id, 7);
  });
}

TEST_F(fileops_job, item_with_a_directory_keeps_it) {
  inside([] {
    QueueItem item;
    item.set_fileops_job_id(8);
    EXPECT_TRUE(item.init_fileops_job());
    EXPECT_EQ(item.fileops_job_id, 8);
    EXPECT_FALSE(exists(job_directory(8)));
    EXPECT_EQ(item.fileops_op, "");
    EXPECT_THAT(status_writes, IsEmpty());
  });
}

TEST_F(fileops_job, missing_id_is_reported_to_the_user) {
  inside([] {
    fs::remove_all("/mnt/main/tv/fileops");
    write_file("/mnt/main/tv/fileops", "in the way");
    QueueItem item;
    EXPECT_FALSE(item.init_fileops_job());
    EXPECT_EQ(item.state_message, "Rejected: unable to create job id");
    EXPECT_EQ(item.fileops_job_id, -1);
    EXPECT_EQ(item.fileops_op, "");
    EXPECT_THAT(status_writes, IsEmpty());
  });
}

TEST_F(fileops_job, id_without_a_directory_changes_nothing) {
  QueueItem item;
  item.set_fileops_job_id(8);
  directory_answer = [] { return nullptr; };
  EXPECT_FALSE(item.set_fileops_job_id(7));
  directory_answer = nullptr;
  EXPECT_EQ(item.fileops_job_id, 8);
  EXPECT_EQ(item.fileops_job_dir, job_directory(8));
}

TEST_F(fileops_job, missing_directory_is_reported_to_the_user) {
  inside([] {
    directory_answer = [] { return nullptr; };
    QueueItem item;
    EXPECT_FALSE(item.init_fileops_job());
    EXPECT_EQ(item.state_message, "Rejected: unable to set job id");
    EXPECT_EQ(item.fileops_job_id, -1);
    EXPECT_THAT(status_writes, IsEmpty());
  });
}

TEST_F(fileops_job, unwritable_directory_is_ignored) {
  inside([] {
    directory_answer = [] { return "/mnt/none"; };
    QueueItem item;
    EXPECT_EQ(stderr_of([&] { EXPECT_TRUE(item.init_fileops_job()); }), "");
    EXPECT_EQ(item.fileops_job_dir, "/mnt/none");
    EXPECT_EQ(item.state_message, "");
  });
}

TEST_F(fileops_job, removal_deletes_its_files_and_keeps_the_number) {
  inside([] {
    QueueItem item;
    EXPECT_TRUE(item.init_fileops_job());
    const int id = item.fileops_job_id;
    removals.clear();
    item.fileops_remove_job();
    EXPECT_THAT(removals, ElementsAre("copy_pid", "status", std::to_string(id)));
    EXPECT_FALSE(exists(job_directory(id)));
    EXPECT_EQ(item.fileops_job_dir, "");
    EXPECT_EQ(item.fileops_job_id, id);
    EXPECT_FALSE(item.fileops_write_status());
  });
}

TEST_F(fileops_job, removal_keeps_a_directory_with_foreign_files) {
  inside([] {
    QueueItem item;
    EXPECT_TRUE(item.init_fileops_job());
    const auto directory = item.fileops_job_dir;
    write_file(directory + "/other", "");
    item.fileops_remove_job();
    EXPECT_TRUE(exists(directory + "/other"));
    EXPECT_FALSE(exists(directory + "/status") || exists(directory + "/copy_pid"));
    EXPECT_EQ(item.fileops_job_dir, "");
  });
}

TEST_F(fileops_job, removal_does_not_follow_a_link_in_place_of_the_directory) {
  inside([] {
    QueueItem item;
    EXPECT_TRUE(item.init_fileops_job());
    const auto directory = item.fileops_job_dir;
    std::filesystem::rename(directory, "/mnt/moved");
    std::filesystem::create_directory_symlink("/mnt/moved", directory);
    item.fileops_remove_job();
    EXPECT_TRUE(exists("/mnt/moved/status") && exists("/mnt/moved/copy_pid"));
    EXPECT_EQ(item.fileops_job_dir, "");
  });
}

TEST_F(fileops_job, item_is_found_by_its_job) {
  transcode_queue = {nullptr, new QueueItem, new QueueItem, new QueueItem};
  auto i = std::next(transcode_queue.begin());
  (*i)->fileops_job_id = -1;
  QueueItem* const first = *++i;
  first->fileops_job_id = (*++i)->fileops_job_id = 7;
  EXPECT_EQ(*transcode_queue_find_fileops_job_id_iterator(7), first);
  EXPECT_EQ(transcode_queue_find_fileops_job_id_iterator(8), transcode_queue.end());
  EXPECT_EQ(transcode_queue_find_fileops_job_id_iterator(-1), transcode_queue.end());
}
