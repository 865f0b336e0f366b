// The start-up sweep of the shipped service.
#include <csignal>

#include <gmock/gmock.h>

#include "tests/support/test_machine.h"

using namespace qx_test;
using ::testing::HasSubstr;
using ::testing::Not;

namespace {

constexpr const char* jobs = "/mnt/main/tv/fileops/jobs/";

struct swept_machine : test_machine {
  void make_job(const std::string& name, const std::string& operation) const {
    root.write(jobs + name + "/status", "op=" + operation + "\n");
  }
  bool has_job(const std::string& name) const { return root.exists(jobs + name); }
};

}  // namespace

TEST(sweep_at_start, removes_jobs_unknown_to_the_queue) {
  swept_machine machine;
  machine.make_job("12", "vod");
  machine.make_job("13", "copy");
  machine.start();
  EXPECT_FALSE(machine.has_job("12"));
  EXPECT_TRUE(machine.has_job("13"));
  EXPECT_THAT(machine.service.stderr_text(), HasSubstr("vod transcode 12 unknown, removing\n"));
}

TEST(sweep_at_start, keeps_the_jobs_of_restored_items) {
  swept_machine machine;
  machine.root.write_source("/mnt/media/clip.mpg");
  machine.make_job("12", "vod");
  machine.root.write_queue_file(
      R"({"list": [{"entry id": "a", "input file": "/mnt/media/clip.mpg", )"
      R"("transcode state": "done", "fileops job id": 12}]})");
  machine.start();
  EXPECT_TRUE(machine.has_job("12"));
  EXPECT_THAT(machine.service.stderr_text(), Not(HasSubstr("unknown, removing")));
}

TEST(sweep_at_start, removes_the_jobs_of_refused_items) {
  swept_machine machine;
  machine.root.write_source("/mnt/media/clip.mpg");
  machine.make_job("12", "vod");
  machine.root.write_queue_file(
      R"({"list": [{"entry id": "a", "input file": "/mnt/media/clip.mpg", )"
      R"("transcode state": "init", "fileops job id": 12}]})");
  machine.start();
  EXPECT_FALSE(machine.has_job("12"));
}

TEST(sweep_at_start, runs_only_once) {
  swept_machine machine;
  machine.start();
  machine.make_job("12", "vod");
  for (int pass = 0; pass < 3; ++pass) {
    EXPECT_EQ(machine.client.request("test").status(), "OK");
  }
  machine.service.signal(SIGTERM);
  machine.service.wait_for_exit();
  EXPECT_TRUE(machine.has_job("12"));
}
