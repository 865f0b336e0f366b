// "queue": copies of unreadable queue files, listed, shown and restored.
#include <gmock/gmock.h>
#include <json11.hpp>

#include "tests/tools/qx_vod_ctl/machine.h"

using namespace qx_test;
using json11::Json;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::SizeIs;

namespace {

constexpr const char* queue_file_path = "/mnt/main/tv/vod.queue.js";
constexpr const char* copy_path = "/mnt/main/tv/vod.queue.js.unreadable-20261122T013005Z";

struct copy_machine : ctl_machine {
  copy_machine() { service.set_uptime(200); }  // transcodes do not start yet

  Json job(const std::string& id, const std::string& state) const {
    const std::string source = "/mnt/media/" + id + ".mpg";
    root.write_source(source, "video/mpeg");
    return Json::object{{"entry id", id},
                        {"fileops job id", 41},
                        {"input file", source},
                        {"paused", id == "paused"},
                        {"process argv", Json::array{"tool", "secret"}},
                        {"state", "as it was"},
                        {"transcode profile", "720"},
                        {"transcode state", state}};
  }
  // A copy that was cut short in the middle of one more job.
  void write_copy(const Json::array& jobs) const {
    const std::string text = Json(Json::object{{"list", jobs}}).dump();
    root.write(copy_path, text.substr(0, text.size() - 2) + ", {\"entry id\": \"cut");
  }
  std::vector<std::string> sources() const {
    std::vector<std::string> found;
    const auto page = client.list();
    for (const auto& item : page["list"].array_items()) {
      found.push_back(item["input file"].string_value());
    }
    return found;
  }
};

}  // namespace

TEST(ctl_queue_copies, are_listed_with_their_readable_jobs) {
  const copy_machine machine;
  machine.write_copy({machine.job("a", "ready"), machine.job("b", "done")});
  const auto result = machine.ctl({"queue"});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out,
              ::testing::MatchesRegex("20261122T013005Z  [0-9]+ bytes  2 jobs readable\n"));
}

TEST(ctl_queue_copies, none_is_not_a_failure) {
  const copy_machine machine;
  const auto result = machine.ctl({"queue", "list"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "qx_vod_ctl: no queue file was set aside\n");
}

TEST(ctl_queue_copies, are_shown_without_command_lines) {
  const copy_machine machine;
  machine.write_copy({machine.job("a", "ready"), machine.job("b", "done")});
  EXPECT_THAT(machine.ctl({"queue", "show"}).out,
              AllOf(HasSubstr("/mnt/media/a.mpg"), HasSubstr("/mnt/media/b.mpg")));
  const auto json = machine.ctl({"queue", "show", "20261122", "--json"}).out;
  EXPECT_THAT(json, AllOf(HasSubstr("\"entry id\": \"b\""), Not(HasSubstr("secret"))));
}

TEST(ctl_queue_copies, unknown_one_is_no_such_item) {
  const copy_machine machine;
  machine.write_copy({machine.job("a", "ready")});
  EXPECT_EQ(machine.ctl({"queue", "show", "2025"}).status, 4);
}

TEST(ctl_queue_copies, one_without_a_complete_job_is_a_failure) {
  const copy_machine machine;
  machine.root.write(copy_path, "{");
  EXPECT_EQ(machine.ctl({"queue", "restore"}).status, 1);
  EXPECT_FALSE(machine.root.exists(queue_file_path));
}

TEST(ctl_queue_restore, puts_all_jobs_back_for_the_next_start) {
  copy_machine machine;
  machine.write_copy({machine.job("a", "ready"), machine.job("b", "done")});
  const auto result = machine.ctl({"queue", "restore"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.err, "qx_vod_ctl: 2 of 2 jobs restored\n");
  EXPECT_EQ(machine.root.run({"/usr/bin/stat", "-c", "%a", queue_file_path}).out, "640\n");
  machine.start();
  EXPECT_EQ(machine.client.transcode_state("a"), "ready");
  EXPECT_EQ(machine.client.transcode_state("b"), "done");
}

TEST(ctl_queue_restore, leaves_the_jobs_of_the_queue_file_alone) {
  copy_machine machine;
  auto newer = machine.job("a", "cancelled").object_items();
  newer["state"] = "newer";
  machine.root.write("/mnt/main/tv/fileops/jobs/41/status", "op=vod\n");
  machine.root.write_queue_file(Json(Json::object{{"list", Json::array{newer}}}).dump());
  machine.write_copy({machine.job("a", "ready"), machine.job("b", "ready")});
  EXPECT_EQ(machine.ctl({"queue", "restore"}).status, 0);
  machine.start();
  EXPECT_THAT(machine.sources(), ElementsAre("/mnt/media/a.mpg", "/mnt/media/b.mpg"));
  EXPECT_EQ(machine.client.state_text("a"), "newer");
}

TEST(ctl_queue_restore, does_not_overwrite_a_queue_file_that_cannot_be_read) {
  const copy_machine machine;
  machine.root.write_queue_file("{");
  machine.write_copy({machine.job("a", "ready")});
  EXPECT_EQ(machine.ctl({"queue", "restore"}).status, 1);
  EXPECT_EQ(machine.root.queue_file(), "{");
}

TEST(ctl_queue_restore, adds_missing_unfinished_jobs_to_a_running_service) {
  copy_machine machine;
  machine.start();
  machine.write_copy({machine.job("done", "done"), machine.job("there", "ready"),
                      machine.job("paused", "transcoding"), machine.job("stopped", "cancelled")});
  machine.client.add_ready("/mnt/media/there.mpg", {{"transcode profile", "720"}});
  const auto result = machine.ctl({"queue", "restore"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_THAT(machine.sources(), ElementsAre("/mnt/media/there.mpg", "/mnt/media/paused.mpg"));
  const auto ids = lines_of(result.out);
  ASSERT_THAT(ids, SizeIs(1));
  const auto added = machine.client.item(ids[0]);
  EXPECT_EQ(added["transcode state"], "ready");
  EXPECT_EQ(added["transcode profile"], "720");
  EXPECT_TRUE(added["paused"].bool_value());
}

TEST(ctl_queue_restore, done_twice_adds_nothing_more) {
  copy_machine machine;
  machine.start();
  machine.write_copy({machine.job("a", "ready")});
  machine.ctl({"queue", "restore"});
  EXPECT_EQ(machine.ctl({"queue", "restore"}).err, "qx_vod_ctl: 0 of 1 jobs restored\n");
  EXPECT_THAT(machine.sources(), SizeIs(1));
}

TEST(ctl_queue_restore, job_whose_source_is_missing_is_refused_and_the_others_are_added) {
  copy_machine machine;
  machine.start();
  machine.write_copy({machine.job("gone", "ready"), machine.job("b", "ready")});
  machine.root.run({"/bin/rm", "/mnt/media/gone.mpg"});
  const auto result = machine.ctl({"queue", "restore"});
  EXPECT_EQ(result.status, 5);
  EXPECT_THAT(result.err,
              HasSubstr("/mnt/media/gone.mpg: One or more parameters were not accepted"));
  EXPECT_THAT(machine.sources(), ElementsAre("/mnt/media/b.mpg"));
}

// The whole way: the service cannot read its queue, and its user brings the jobs back.
TEST(ctl_queue_restore, restores_the_file_that_the_service_has_set_aside) {
  copy_machine machine;
  const std::string text =
      Json(Json::object{{"list", Json::array{machine.job("a", "ready")}}}).dump();
  machine.root.write_queue_file(text.substr(0, text.size() - 2));
  machine.start();
  EXPECT_THAT(machine.sources(), SizeIs(0));
  EXPECT_EQ(machine.ctl({"queue", "restore"}).status, 0);
  EXPECT_THAT(machine.sources(), ElementsAre("/mnt/media/a.mpg"));
}
