// Validation of an item: each check, in order.
#include <cerrno>
#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "tests/exec/exec_bench.h"

using namespace qx_test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr char source[] = "/mnt/media/clip.mpg";
constexpr char no_metadir_text[] = "Rejected: output file, unable to create metadata dir";

class readiness : public private_exec_bench {
protected:
  readiness() { root_.write_source(source); }

  static void expect_rejected(QueueItem& item, const std::string& text) {
    status_writes.clear();
    EXPECT_EQ(item.validate_ready(), 0) << text;
    EXPECT_EQ(item.state_message, text);
    EXPECT_EQ(item.input_dir_fd, -1) << "no folder is kept open";
    EXPECT_THAT(status_writes, IsEmpty());
  }
  // With this text in place of a path that the record would refuse.
  QueueItem& add_input(const std::string& path) {
    QueueItem& item = add_item(TRANSCODE_READY);
    item.input_file = path;
    item.input_dir = path.substr(0, path.rfind('/'));
    item.input_name = path.substr(path.rfind('/') + 1);
    return item;
  }
  QueueItem& add_output(const std::string& path) {
    QueueItem& item = add_source_item(TRANSCODE_TRANSCODING);
    EXPECT_TRUE(item.set_output_file("/mnt/main/tv/vod/out.mp4"));
    item.output_file = path;
    return item;
  }
};

using readiness_output = readiness;
using readiness_job = readiness;

}  // namespace

TEST_F(readiness, good_source_may_proceed) {
  inside([&] {
    QueueItem& item = add_source_item(TRANSCODE_READY);
    item.state_message = "Ready";
    EXPECT_EQ(item.validate_ready(), 1);
    EXPECT_EQ(item.input_dir_fd, -1);
    EXPECT_THAT(status_writes, ElementsAre("ready: Ready"));
  });
}

TEST_F(readiness, folder_is_a_source_too) {
  std::filesystem::create_directory(root_.path("/mnt/media/folder"));
  inside([&] { EXPECT_EQ(add_input("/mnt/media/folder").validate_ready(), 1); });
}

TEST_F(readiness, without_a_source_it_is_rejected) {
  inside([&] { expect_rejected(add_item(TRANSCODE_READY), "Rejected: No input file"); });
}

TEST_F(readiness, forbidden_source_is_rejected) {
  inside([&] {
    for (const char* path : {"/etc/passwd", "/mnt/media/../clip.mpg", "/mnt/main/tv/vod.conf"}) {
      expect_rejected(add_input(path), "Rejected: Forbidden input file");
    }
  });
}

TEST_F(readiness, path_is_forbidden_by_bit_1) {
  inside([&] {
    unsigned verdict = ~1U;
    kernel.forbidden_area = [&](const char* path, unsigned flags) {
      EXPECT_STREQ(path, source);
      EXPECT_EQ(flags, 0U);
      return verdict;
    };
    EXPECT_EQ(add_input(source).validate_ready(), 1);
    verdict = 1;
    expect_rejected(add_input(source), "Rejected: Forbidden input file");
  });
}

TEST_F(readiness, folder_is_forbidden_by_bit_0x200) {
  inside([&] {
    unsigned verdict = ~0x200U;
    kernel.forbidden_area_fd = [&](int, unsigned flags) {
      EXPECT_EQ(flags, 0x8080U);
      return verdict;
    };
    EXPECT_EQ(add_input(source).validate_ready(), 1);
    verdict = 0x200;
    expect_rejected(add_input(source), "Rejected: unable to locate folder");
  });
}

TEST_F(readiness, metadata_are_not_a_source) {
  root_.write("/mnt/media/.clip.mpg.metadata/picture.jpg", "x");
  inside([&] {
    expect_rejected(add_input("/mnt/media/.clip.mpg.metadata/picture.jpg"),
                    "Rejected: File is metadata");
  });
}

TEST_F(readiness, missing_folder_is_rejected) {
  inside([&] {
    expect_rejected(add_input("/mnt/none/clip.mpg"), "Rejected: unable to locate folder");
    QueueItem& item = add_source_item(TRANSCODE_READY);
    item.input_dir.clear();
    expect_rejected(item, "Rejected: unable to locate folder");
  });
}

TEST_F(readiness, folder_that_is_a_file_is_rejected) {
  inside([&] {
    expect_rejected(add_input("/mnt/media/clip.mpg/x.mpg"), "Rejected: unable to locate folder");
  });
}

TEST_F(readiness, folder_that_leads_out_of_the_media_is_rejected) {
  std::filesystem::create_symlink("/etc", root_.path("/mnt/media/out"));
  inside([&] {
    expect_rejected(add_input("/mnt/media/out/passwd"), "Rejected: unable to locate folder");
  });
}

TEST_F(readiness, missing_file_is_rejected_with_the_reason) {
  inside([&] {
    expect_rejected(add_input("/mnt/media/gone.mpg"),
                    "Rejected: file not accessible, No such file or directory");
  });
}

TEST_F(readiness, link_is_checked_as_a_link) {
  std::filesystem::create_symlink("clip.mpg", root_.path("/mnt/media/link.mpg"));
  inside([&] {
    expect_rejected(add_input("/mnt/media/link.mpg"), "Rejected: neither file nor folder");
  });
}

TEST_F(readiness, fifo_is_rejected_and_not_opened) {
  ASSERT_EQ(mkfifo(root_.path("/mnt/media/fifo.mpg").c_str(), 0666), 0);
  inside([&] {
    expect_rejected(add_input("/mnt/media/fifo.mpg"), "Rejected: neither file nor folder");
  });
}

// Each item has the fault in question and all those checked later.
TEST_F(readiness, earlier_checks_take_precedence) {
  std::filesystem::create_symlink("clip.mpg", root_.path("/mnt/media/link.mpg"));
  root_.write("/mnt/main/tv/fileops", "in the way");
  const std::pair<const char*, const char*> faults[] = {
      {"", "Rejected: No input file"},
      {"/etc/none/.x.metadata/x", "Rejected: Forbidden input file"},
      {"/mnt/none/.x.metadata/x", "Rejected: File is metadata"},
      {"/mnt/none/link.mpg", "Rejected: unable to locate folder"},
      {"/mnt/media/gone.mpg", "Rejected: file not accessible, No such file or directory"},
      {"/mnt/media/link.mpg", "Rejected: neither file nor folder"},
      {source, "Rejected: output file name is invalid"}};
  inside([&] {
    for (const auto& [path, text] : faults) {
      QueueItem& item = *path != '\0' ? add_input(path) : add_item(TRANSCODE_READY);
      item.output_file = "/elsewhere/out.mp4";
      item.set_fileops_job_id(-1);
      expect_rejected(item, text);
    }
    QueueItem& item = add_output("/mnt/main/tv/vod/out.mp4");
    item.output_metadir.clear();
    item.set_fileops_job_id(-1);
    expect_rejected(item, no_metadir_text);
  });
}

TEST_F(readiness, descriptors_of_the_source_are_closed) {
  inside([&] {
    for (const char* path : {source, "/etc/passwd", "/mnt/media/gone.mpg"}) {
      QueueItem& item = add_input(path);
      item.input_dir_fd = open("/mnt/media", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
      item.input_fd = open(source, O_RDONLY | O_CLOEXEC);
      item.validate_ready();
      EXPECT_EQ(item.input_dir_fd, -1) << path;
      EXPECT_EQ(item.input_fd, -1) << path;
    }
  });
}

TEST_F(readiness_output, is_not_required_before_the_profiles_are_known) {
  inside([&] {
    for (const auto state : {READY_INIT, READY_CHECK_META, READY_QUERY_PROFILES}) {
      QueueItem& item = add_source_item(TRANSCODE_READY);
      item.sm.ready.set_state(state);
      EXPECT_EQ(item.validate_ready(), 1);
      EXPECT_EQ(item.output_file, "");
    }
  });
}

TEST_F(readiness_output, is_made_up_after_the_profiles) {
  std::filesystem::create_directories(root_.path("/mnt/main/tv/vod"));
  inside([&] {
    QueueItem& ready = add_source_item(TRANSCODE_READY);
    ready.sm.ready.set_state(READY_READY_TO_TRANSCODE);
    for (QueueItem* item : {&ready, &add_source_item(TRANSCODE_TRANSCODING)}) {
      item->transcode_profile = "720";
      EXPECT_EQ(item->validate_ready(), 1) << item->state_message;
      EXPECT_EQ(item->output_file, "/mnt/main/tv/vod/1000000000.vod.720.clip.mpg.mp4");
    }
  });
}

TEST_F(readiness_output, name_that_cannot_be_made_up_is_rejected) {
  inside([&] {
    QueueItem& item = add_source_item(TRANSCODE_TRANSCODING);
    item.transcode_profile = "a/b";
    expect_rejected(item, "Rejected: output file is invalid");
  });
}

TEST_F(readiness_output, name_that_is_too_long_leaves_no_output) {
  inside([&] {
    QueueItem& item = add_source_item(TRANSCODE_TRANSCODING);
    item.transcode_profile = std::string(4096, 'p');
    EXPECT_EQ(item.validate_ready(), 1);
    EXPECT_EQ(item.output_file, "");
  });
}

TEST_F(readiness_output, has_to_be_in_the_output_folder) {
  inside([&] {
    for (const char* path :
         {"out.mp4", "/mnt/main/tv/out.mp4", "/mnt/main/tv/vodx/out.mp4", "/mnt/main/tv/vod/",
          "/mnt/main/tv/vod/a/out.mp4", "/mnt/main/tv/vod/.out.mp4", "/mnt/main/tv/vod///"}) {
      expect_rejected(add_output(path), "Rejected: output file name is invalid");
    }
  });
}

TEST_F(readiness_output, further_slashes_are_ignored) {
  std::filesystem::create_directories(root_.path("/mnt/main/tv/vod"));
  inside([&] { EXPECT_EQ(add_output("/mnt/main/tv/vod///out.mp4").validate_ready(), 1); });
}

TEST_F(readiness_output, is_checked_before_the_profiles_if_one_is_set) {
  inside([&] {
    QueueItem& item = add_source_item(TRANSCODE_INIT);
    item.output_file = "/elsewhere/out.mp4";
    expect_rejected(item, "Rejected: output file name is invalid");
  });
}

TEST_F(readiness_output, needs_its_metadata_directory) {
  inside([&] {
    QueueItem& item = add_output("/mnt/main/tv/vod/out.mp4");
    item.output_metadir.clear();
    expect_rejected(item, no_metadir_text);
    EXPECT_EQ(item.sm.state, TRANSCODE_TRANSCODING);
  });
}

TEST_F(readiness_output, metadata_directory_is_made_and_may_exist) {
  std::filesystem::create_directories(root_.path("/mnt/main/tv/vod"));
  inside([&] {
    umask(0);
    QueueItem& item = add_output("/mnt/main/tv/vod/out.mp4");
    EXPECT_EQ(item.validate_ready(), 1);
    struct stat status {};
    EXPECT_EQ(stat("/mnt/main/tv/vod/.out.mp4.metadata", &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0777U);
    EXPECT_EQ(item.validate_ready(), 1);
  });
}

TEST_F(readiness_output, metadata_directory_that_cannot_be_made_cancels) {
  inside([&] {  // there is no output folder
    QueueItem& item = add_output("/mnt/main/tv/vod/out.mp4");
    EXPECT_EQ(item.validate_ready(), 0);
    EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLED);
    EXPECT_EQ(item.state_message, no_metadir_text);
    EXPECT_THAT(status_writes, ElementsAre("cancelled: Unable to mkdir metadir"));
  });
}

TEST_F(readiness_job, is_made_for_an_item_without_one) {
  inside([&] {
    QueueItem& item = add_source_item(TRANSCODE_INIT);
    item.set_fileops_job_id(-1);
    EXPECT_EQ(item.validate_ready(), 1);
    EXPECT_EQ(item.fileops_op, "vod");
    EXPECT_EQ(item.fileops_job_dir,
              "/mnt/main/tv/fileops/jobs/" + std::to_string(item.fileops_job_id));
    EXPECT_EQ(read_file(item.fileops_job_dir + "/copy_pid"), std::to_string(getpid()) + "\n");
    EXPECT_THAT(status_writes, ElementsAre("init: ", "init: "));
    EXPECT_EQ(lines_of(read_file(item.fileops_job_dir + "/status"))[0], "op=vod");
  });
}

TEST_F(readiness_job, has_its_operation_from_the_first_status_on) {
  inside([&] {
    QueueItem& item = add_source_item(TRANSCODE_INIT);
    item.set_fileops_job_id(-1);
    EXPECT_TRUE(item.init_fileops_job());
    EXPECT_EQ(lines_of(read_file(item.fileops_job_dir + "/status"))[0], "op=vod");
  });
}

TEST_F(readiness_job, is_kept_if_there_is_one) {
  inside([&] {
    QueueItem& item = add_source_item(TRANSCODE_INIT);
    const std::string before = item.fileops_job_dir;
    EXPECT_EQ(item.validate_ready(), 1);
    EXPECT_EQ(item.fileops_job_dir, before);
    EXPECT_FALSE(exists("/mnt/main/tv/fileops"));
  });
}

TEST_F(readiness_job, rejects_the_item_if_it_cannot_be_made) {
  root_.write("/mnt/main/tv/fileops", "in the way");
  inside([&] {
    QueueItem& item = add_source_item(TRANSCODE_INIT);
    item.set_fileops_job_id(-1);
    expect_rejected(item, "Rejected: unable to create job id");
  });
}

TEST_F(readiness_job, without_a_directory_rejects_the_item) {
  inside([&] {
    QueueItem& item = add_source_item(TRANSCODE_INIT);
    item.set_fileops_job_id(-1);
    kernel.job_directory_is_known = false;
    expect_rejected(item, "Rejected: unable to set job id");
    kernel.job_directory_is_known = true;
  });
}
