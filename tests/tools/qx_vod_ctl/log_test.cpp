// Why a job failed, as the client shows it, for jobs that failed with the real tools and the real
// service.
#include <fstream>

#include <fcntl.h>
#include <sys/stat.h>

#include <gmock/gmock.h>

#include "tests/support/media/test_media.h"
#include "tests/tools/qx_vod_ctl/machine.h"
#include "tools/qx_vod_ctl/log_reader.h"

using namespace qx_test;
using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr const char* film = "/mnt/media/film.mp4";
constexpr const char* unlisted = "Rejected: Unable to determine appropriate transcoding profiles";

struct log_machine : ctl_machine {
  explicit log_machine(tool_set tools = tool_set::built) : ctl_machine(tools) {}

  // Adds the text file that is called a film, and waits for its job's failure.
  std::string add_failing() {
    std::ifstream bytes(test_media("text.mp4"));
    root.write(film, std::string(std::istreambuf_iterator<char>(bytes), {}));
    root.write_metadata(film, {{"file type", "video/mp4"}});
    start();
    return fail_again();
  }

  // Adds the video in its current state, and waits for the job's failure.
  std::string fail_again() {
    std::string id = add(film);
    client.wait_for_item(id, [](const json11::Json& item) {
      return item["transcode state"].string_value() == "cancelled";
    });
    return id;
  }

  // The service saw the end of the job's tool at once, as it does unless the machine is crowded.
  void end_with_its_log(const std::string& id) const {
    const std::string job = client.item(id)["fileops job id"].dump();
    struct stat log {};
    ASSERT_EQ(stat(root.path("/mnt/media/.film.mp4.metadata/vod.log").c_str(), &log), 0);
    const timespec times[2] = {log.st_atim, log.st_mtim};
    const std::string status = root.path("/mnt/main/tv/fileops/jobs/" + job + "/status");
    ASSERT_EQ(utimensat(AT_FDCWD, status.c_str(), times, 0), 0);
  }
};

}  // namespace

TEST(ctl_log, show_and_status_give_the_reason_of_a_failed_job) {
  log_machine machine;
  const std::string id = machine.add_failing();
  EXPECT_THAT(machine.ctl({"show", id}).out,
              HasSubstr("reason: source-damaged: Invalid data found when processing input\n"));
  EXPECT_THAT(machine.ctl({"status"}).out,
              HasSubstr(std::string(unlisted) + ": source-damaged: Invalid data found"));
}

TEST(ctl_log, of_two_jobs_of_one_source_each_has_its_own_reason) {
  log_machine machine;
  const std::string first = machine.add_failing();
  machine.root.write(film, "");
  const std::string second = machine.fail_again();
  machine.end_with_its_log(second);
  EXPECT_THAT(machine.ctl({"show", first}).out, HasSubstr("reason: source-damaged: "));
  EXPECT_THAT(machine.ctl({"show", second}).out, HasSubstr("reason: not-media: is empty\n"));
}

TEST(ctl_log, no_reason_is_given_if_it_may_be_another_job_s) {
  log_machine machine;
  const std::string first = machine.add_failing();
  machine.root.write(film, "");
  machine.fail_again();
  const std::string status = machine.root.path("/mnt/main/tv/fileops/jobs/") +
                             machine.client.item(first)["fileops job id"].dump();
  const timespec later[2] = {{0, UTIME_NOW}, {time(nullptr) + 3600, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, (status + "/status").c_str(), later, 0), 0);
  EXPECT_THAT(machine.ctl({"show", first}).out, Not(HasSubstr("reason: ")));
}

TEST(ctl_log, prints_what_the_tools_wrote) {
  log_machine machine;
  const std::string id = machine.add_failing();
  const auto result = machine.ctl({"log", id});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out,
              AllOf(HasSubstr("# /mnt/media/.film.mp4.metadata/vod.log\n=== "),
                    HasSubstr("run: /usr/bin/ffprobe "),
                    ContainsRegex("--- [^ ]+ qxmi_vod_transcode failed: source-damaged: ")));
}

TEST(ctl_log, a_report_contains_it) {
  log_machine machine;
  const std::string id = machine.add_failing();
  ASSERT_EQ(machine.ctl_in("/mnt", {"report", id, "-o", "/mnt/about.tar.gz"}).status, 0);
  const auto listing = machine.root.run({"/usr/bin/tar", "tzf", "/mnt/about.tar.gz"});
  EXPECT_THAT(listing.out, HasSubstr("/source/vod.log\n"));
}

TEST(ctl_log, a_job_without_a_log_has_none) {
  log_machine machine(tool_set::stand_ins);
  machine.start();
  const std::string id = machine.add_done("/mnt/media/clip.mpg");
  const auto result = machine.ctl({"log", id});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err, HasSubstr("no tool has written a log for it"));
}

TEST(ctl_log, follow_continues_until_the_job_ends) {
  log_machine machine(tool_set::stand_ins);
  machine.root.plan(tool::transcode, tool_plan().wait("go").exit(1));
  machine.root.write_source(film, "video/mp4");
  machine.start();
  const std::string id = machine.client.add_ready(film);
  machine.root.wait_for_call(tool::transcode);
  const auto client = machine.start_ctl({"log", "--follow", id});
  machine.root.write("/mnt/media/.film.mp4.metadata/vod.log", "=== t qxmi_vod_transcode 1\n");
  EXPECT_TRUE(client.wait_for_stdout("=== t qxmi_vod_transcode 1\n"));
  machine.root.write("/mnt/media/.film.mp4.metadata/vod.log",
                     "=== t qxmi_vod_transcode 1\nt engine: \x1b[2Jmore\n");
  EXPECT_TRUE(client.wait_for_stdout("t engine: \\x1b[2Jmore\n"));
  machine.root.release("go");
  const auto result = client.finish();
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.out, Not(HasSubstr("more\n=== t")));
}

TEST(log_reader, returns_each_complete_line_once) {
  log_reader reader;
  EXPECT_EQ(reader.news("one\ntw"), "one\n");
  EXPECT_EQ(reader.news("one\ntwo\n"), "two\n");
  EXPECT_EQ(reader.news("one\ntwo\n"), "");
}

TEST(log_reader, continues_if_the_middle_was_cut_out) {
  log_reader reader;
  reader.news("one\ntwo\nthree\nfour\n");
  EXPECT_EQ(reader.news("one\ncut\nfour\nfive\n"), "five\n");
}

TEST(log_reader, returns_a_replaced_log_completely) {
  log_reader reader;
  reader.news("one\ntwo\n");
  EXPECT_EQ(reader.news("three\n"), "three\n");
}
