// The start-up sweep: which job directories are removed, and which are left alone.
#include <filesystem>

#include <sys/stat.h>

#include <gmock/gmock.h>

#include "fileops/sweep.h"
#include "queue/transcode_queue.h"
#include "tests/fileops/fileops_calls.h"

using namespace qx_test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace fs = std::filesystem;

namespace {

constexpr const char* jobs = "/mnt/main/tv/fileops/jobs/";

std::string directory_of(const std::string& name) {
  return jobs + name;
}

// Creates a job directory with this name and status.
void make_job(const std::string& name, const std::string& status = "op=vod\n") {
  write_file(directory_of(name) + "/status", status);
  write_file(directory_of(name) + "/copy_pid", "1\n");
}

// Whether the sweep removes a directory with this name and status.
bool is_swept(const std::string& name, const std::string& status) {
  make_job(name, status);
  stderr_of(markdown_unknown_vod_fileops);
  const bool is_gone = !exists(directory_of(name));
  EXPECT_EQ(exists(directory_of(name) + "/status"), !is_gone) << "all or nothing";
  fs::remove_all(directory_of(name));
  return is_gone;
}

class sweep : public queue_bench {};

}  // namespace

TEST_F(sweep, job_without_an_item_is_removed_and_logged) {
  inside([] {
    make_job("12");
    removals.clear();
    EXPECT_EQ(stderr_of(markdown_unknown_vod_fileops), "vod transcode 12 unknown, removing\n");
    EXPECT_FALSE(exists(directory_of("12")));
    EXPECT_THAT(removals, ElementsAre("status", "copy_pid", "12"));
  });
}

TEST_F(sweep, job_of_an_item_is_kept) {
  inside([] {
    make_job("12");
    make_job("13");
    transcode_queue.push_back(nullptr);
    transcode_queue.push_back(new QueueItem);
    transcode_queue.back()->fileops_job_id = 12;
    EXPECT_EQ(stderr_of(markdown_unknown_vod_fileops), "vod transcode 13 unknown, removing\n");
    EXPECT_TRUE(exists(directory_of("12") + "/copy_pid"));
    EXPECT_FALSE(exists(directory_of("13")));
  });
}

TEST_F(sweep, status_that_is_a_link_is_not_read) {
  inside([] {
    make_job("12");
    fs::rename(directory_of("12") + "/status", "/mnt/status");
    fs::create_symlink("/mnt/status", directory_of("12") + "/status");
    EXPECT_EQ(stderr_of(markdown_unknown_vod_fileops), "");
    EXPECT_TRUE(exists(directory_of("12") + "/copy_pid"));
  });
}

TEST_F(sweep, number_may_have_leading_zeros) {
  inside([] {
    make_job("0012");
    EXPECT_EQ(stderr_of(markdown_unknown_vod_fileops), "vod transcode 12 unknown, removing\n");
    EXPECT_FALSE(exists(directory_of("0012")));
  });
}

TEST_F(sweep, number_is_reduced_to_32_bits) {
  inside([] {
    transcode_queue.push_back(new QueueItem);
    transcode_queue.back()->fileops_job_id = 5;
    EXPECT_FALSE(is_swept("4294967301", "op=vod\n")) << "5 in 32 bits";
    make_job("4294967295");
    EXPECT_EQ(stderr_of(markdown_unknown_vod_fileops), "vod transcode -1 unknown, removing\n");
  });
}

TEST_F(sweep, names_other_than_numbers_are_left_alone) {
  inside([] {
    for (const char* name : {"12a", "-3", "a12", "1 2", " 12", "0x12", "12.", "+12"}) {
      EXPECT_FALSE(is_swept(name, "op=vod\n")) << name;
    }
  });
}

TEST_F(sweep, jobs_of_other_operations_are_left_alone) {
  inside([] {
    for (const char* status :
         {"op=copy\n", "op=vod2\n", "op=VOD\n", "op= vod\n", "op=vod \n", "op=vod\r\n", " op=vod\n",
          "OP=vod\n", "", "op\n", "op=\n", "=vod\n", "state=op=vod\n", "vod\n"}) {
      EXPECT_FALSE(is_swept("12", status)) << status;
    }
  });
}

TEST_F(sweep, operation_may_be_in_any_line) {
  inside([] {
    EXPECT_TRUE(is_swept("12", "state=x\nop=vod\nsuccess=0\n"));
    EXPECT_TRUE(is_swept("12", "\n\nop=vod\n"));
  });
}

TEST_F(sweep, last_operation_counts) {
  inside([] {
    EXPECT_TRUE(is_swept("12", "op=copy\nop=vod\n"));
    EXPECT_FALSE(is_swept("12", "op=vod\nop=copy\n"));
    EXPECT_FALSE(is_swept("12", "op=vod\nop=\n"));
    EXPECT_TRUE(is_swept("12", "op=vod\nop\n")) << "a line without = is none";
  });
}

TEST_F(sweep, unterminated_line_does_not_count) {
  inside([] {
    EXPECT_FALSE(is_swept("12", "op=vod"));
    EXPECT_TRUE(is_swept("12", "op=vod\nop=copy"));
  });
}

TEST_F(sweep, only_the_first_4095_bytes_are_read) {
  inside([] {
    const std::string line = "op=vod\n";
    const std::string filler = std::string(4095 - line.size() - 1, 'x') + "\n";
    EXPECT_TRUE(is_swept("12", filler + line));
    EXPECT_FALSE(is_swept("12", "x" + filler + line));
    EXPECT_TRUE(is_swept("12", line + std::string(100000, 'x')));
  });
}

TEST_F(sweep, text_ends_at_a_nul) {
  inside([] {
    EXPECT_FALSE(is_swept("12", std::string("a=b\n\0op=vod\n", 12)));
    EXPECT_TRUE(is_swept("12", std::string("op=vod\n\0\xff", 9)));
  });
}

TEST_F(sweep, directory_without_a_status_is_left_alone) {
  inside([] {
    fs::create_directory(directory_of("12"));
    EXPECT_EQ(stderr_of(markdown_unknown_vod_fileops), "");
    EXPECT_TRUE(exists(directory_of("12")));
  });
}

TEST_F(sweep, file_or_link_with_a_number_is_left_alone) {
  inside([] {
    write_file(directory_of("12"), "op=vod\n");
    make_job("real");
    fs::create_directory_symlink("real", directory_of("13"));
    EXPECT_EQ(stderr_of(markdown_unknown_vod_fileops), "");
    EXPECT_TRUE(exists(directory_of("12")));
    EXPECT_TRUE(exists(directory_of("13") + "/status"));
  });
}

TEST_F(sweep, directory_with_foreign_files_stays_without_ours) {
  inside([] {
    make_job("12");
    write_file(directory_of("12") + "/other", "");
    EXPECT_EQ(stderr_of(markdown_unknown_vod_fileops), "vod transcode 12 unknown, removing\n");
    EXPECT_TRUE(exists(directory_of("12") + "/other"));
    EXPECT_FALSE(exists(directory_of("12") + "/status"));
    EXPECT_FALSE(exists(directory_of("12") + "/copy_pid"));
    EXPECT_EQ(stderr_of(markdown_unknown_vod_fileops), "") << "no status, no operation";
  });
}

TEST_F(sweep, odd_status_files_do_not_block_or_count) {
  inside([] {
    fs::create_directories(directory_of("12/status"));
    fs::create_directory(directory_of("13"));
    ASSERT_EQ(mkfifo(directory_of("13/status").c_str(), 0600), 0);
    fs::create_directory(directory_of("14"));
    fs::create_symlink("status", directory_of("14/status"));
    make_job("15");
    EXPECT_EQ(stderr_of(markdown_unknown_vod_fileops), "vod transcode 15 unknown, removing\n");
    EXPECT_TRUE(exists(directory_of("12/status")));
    EXPECT_TRUE(exists(directory_of("13/status")));
  });
}

TEST_F(sweep, many_jobs_are_removed_at_once) {
  inside([] {
    for (int i = 100; i < 400; ++i) {
      make_job(std::to_string(i));
    }
    const auto said = stderr_of(markdown_unknown_vod_fileops);
    EXPECT_EQ(lines_of(said).size(), 300U);
    EXPECT_THAT(said, HasSubstr("vod transcode 399 unknown, removing\n"));
    EXPECT_EQ(std::distance(fs::directory_iterator(jobs), {}), 1) << "the bench's own";
  });
}

TEST_F(sweep, without_jobs_there_is_nothing_to_do) {
  inside([] {
    fs::remove_all("/mnt/main/tv/fileops");
    EXPECT_EQ(stderr_of(markdown_unknown_vod_fileops), "");
    write_file("/mnt/main/tv/fileops/jobs", "no directory");
    EXPECT_EQ(stderr_of(markdown_unknown_vod_fileops), "");
  });
}
