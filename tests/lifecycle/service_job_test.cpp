// A complete job in the shipped service: the tools it runs, how, and what is left.
#include <filesystem>

#include <unistd.h>

#include <gmock/gmock.h>

#include "tests/support/test_machine.h"
#include "tests/support/wait_until.h"

using namespace qx_test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

namespace {

constexpr char source[] = "/mnt/media/clip.mpg";

class service_job : public ::testing::Test {
protected:
  service_job() { machine_.root.write_source(source); }

  std::string start_job(const name_values& more = {}) {
    machine_.start();
    return machine_.client.add_ready(source, more);
  }
  json11::Json finish_job(const name_values& more = {}) {
    return machine_.client.wait_for_transcode_state(start_job(more), "done");
  }
  std::vector<std::string> tools() const {
    std::vector<std::string> names;
    for (const auto& call : machine_.root.calls()) {
      names.push_back(call.name);
    }
    return names;
  }
  // Another file takes the source's name.
  void replace_source() const {
    machine_.root.write_source("/mnt/media/new.mpg");
    std::filesystem::rename(machine_.root.path("/mnt/media/new.mpg"), machine_.root.path(source));
  }
  // Starts a job that removes its source, and stays ready because another one is transcoded.
  std::string start_job_in_waiting() {
    machine_.root.plan_call(tool::transcode, 1, tool_plan().mark("transcode").wait("go"));
    machine_.root.write_source("/mnt/media/first.mpg");
    machine_.start();
    machine_.client.add_ready("/mnt/media/first.mpg");
    EXPECT_TRUE(machine_.root.wait_for_mark("transcode"));
    const std::string id = machine_.client.add_ready(source, {{"delete on finish", "1"}});
    machine_.client.wait_for_item(id, [](const json11::Json& item) {
      return item["ready state"].string_value() == "ready to transcode";
    });
    return id;
  }
  void cancel(const std::string& id) const {
    EXPECT_EQ(machine_.client.command("cancel", id).status(), "OK");
    machine_.client.wait_for_transcode_state(id, "cancelled");
  }
  void remove(const std::string& id) const {
    EXPECT_EQ(machine_.client.command("remove", id).status(), "OK");
  }
  void wait_until_gone(const std::string& id) const {
    EXPECT_TRUE(wait_until([&] { return machine_.client.item(id).is_null(); }));
  }
  std::vector<std::string> argv(const char* name, int number = 1) const {
    return machine_.root.wait_for_call(name, number).argv;
  }
  static std::string metadir_of(const json11::Json& item) {
    const std::string output = item["output file"].string_value();
    const auto slash = output.rfind('/');
    return output.substr(0, slash) + "/." + output.substr(slash + 1) + ".metadata";
  }

  test_machine machine_;
};

}  // namespace

TEST_F(service_job, takes_every_step_in_order) {
  const auto item = finish_job();
  EXPECT_THAT(tools(), ElementsAre("startitem", "quote", "transcode", "grab", "startitem"));
  EXPECT_EQ(item["state"].string_value(), "Transcode complete");
  EXPECT_EQ(item["transcode progress"][0].int_value(), 10000);
  EXPECT_EQ(item["transcode profile"].string_value(), "1080");
  EXPECT_EQ(item["process pid"].int_value(), -1);
  EXPECT_TRUE(item["process argv"].array_items().empty());
}

TEST_F(service_job, leaves_the_vod_with_all_its_by_products) {
  const auto item = finish_job();
  const std::string output = item["output file"].string_value();
  EXPECT_THAT(output, StartsWith("/mnt/main/tv/vod/"));
  EXPECT_THAT(output, ::testing::EndsWith(".vod.1080.clip.mpg.mp4"));
  EXPECT_EQ(machine_.root.read(output), "stand-in video\n");
  EXPECT_EQ(machine_.root.read(metadir_of(item) + "/.vod.metadata"), "file type=video/mp4\n");
  EXPECT_THAT(machine_.root.read(metadir_of(item) + "/vod.thumbnail.jpg"), HasSubstr("picture"));
  EXPECT_TRUE(machine_.root.exists(metadir_of(item) + "/.vod.ready"));
  EXPECT_TRUE(machine_.root.exists(source));
}

TEST_F(service_job, passes_the_right_arguments_to_the_tools) {
  const std::string output = finish_job()["output file"].string_value();
  EXPECT_THAT(argv(tool::startitem), ElementsAre("/usr/bin/qxmi_startitem", "--daemon",
                                                 "--identify", "--create-meta", "--file", source));
  EXPECT_THAT(argv(tool::quote),
              ElementsAre("/usr/bin/qxmi_vod_transcode", "--file", source, "--quote"));
  EXPECT_THAT(argv(tool::transcode),
              ElementsAre("/usr/bin/qxmi_vod_transcode", "-d", "7", "--cpu-cap", "70", "--profile",
                          "1080", "-f", "mp4", "-o", output, "--file", source));
  const auto grab = argv(tool::grab);
  ASSERT_EQ(grab.size(), 15U);
  EXPECT_EQ(grab[7], "1080");
  EXPECT_EQ(grab[13], source);
  EXPECT_EQ(argv(tool::startitem, 2).back(), output);
}

TEST_F(service_job, runs_tools_in_separate_sessions_at_the_lowest_priority) {
  finish_job();
  for (const auto& call : machine_.root.calls()) {
    EXPECT_EQ(call.session, call.pid) << call.name;
    EXPECT_EQ(call.group, call.pid) << call.name;
    EXPECT_EQ(call.nice, 19) << call.name;
  }
}

TEST_F(service_job, gives_tools_their_streams_and_nothing_else) {
  finish_job();
  for (const auto& call : machine_.root.calls()) {
    EXPECT_EQ(call.descriptors.size(), 3U) << call.name;
    EXPECT_EQ(call.descriptors.at(0), "/dev/null") << call.name;
    const bool is_heard = call.name == tool::quote || call.name == tool::transcode;
    EXPECT_EQ(call.descriptors.at(1).rfind("pipe:", 0) == 0, is_heard) << call.name;
    EXPECT_EQ(call.descriptors.at(2).rfind("pipe:", 0), std::string::npos) << call.name;
  }
}

TEST_F(service_job, runs_at_full_speed_if_configured) {
  machine_.root.write_config({{"fullspeed", "1"}});
  finish_job();
  const auto words = argv(tool::transcode);
  ASSERT_GT(words.size(), 7U);
  EXPECT_THAT(std::vector<std::string>(words.begin() + 1, words.begin() + 7),
              ElementsAre("-d", "0", "--cpu-cap", "0", "--max-threads",
                          std::to_string(sysconf(_SC_NPROCESSORS_ONLN))));
  EXPECT_EQ(words[7], "--profile");
}

TEST_F(service_job, keeps_to_the_highest_profile) {
  machine_.root.write_config({{"max profile", "720"}});
  const auto item = finish_job();
  EXPECT_EQ(item["transcode profile"].string_value(), "720");
  EXPECT_THAT(argv(tool::quote), ElementsAre("/usr/bin/qxmi_vod_transcode", "--file", source,
                                             "--quote", "--height", "720"));
}

TEST_F(service_job, uses_the_requested_profile) {
  const auto item = finish_job({{"transcode profile", "240"}});
  EXPECT_EQ(item["transcode profile"].string_value(), "240");
  EXPECT_EQ(item["quoted profile"].array_items().size(), 3U);
}

TEST_F(service_job, existing_metadata_are_not_made_again) {
  machine_.root.write_metadata(source, {{"file type", "video/mp2t"}});
  finish_job();
  EXPECT_THAT(tools(), ElementsAre("quote", "transcode", "grab", "startitem"));
}

TEST_F(service_job, odd_names_reach_the_tools_unchanged) {
  const std::string odd = "/mnt/media/-x '\"$(id)%s \xc3\xa4;.mpg";
  machine_.root.write_source(odd);
  machine_.start();
  machine_.client.wait_for_transcode_state(machine_.client.add_ready(odd), "done");
  EXPECT_EQ(argv(tool::transcode).back(), odd);
  EXPECT_EQ(argv(tool::quote)[2], odd);
}

TEST_F(service_job, removes_source_and_metadata_if_requested) {
  finish_job({{"delete on finish", "1"}});
  EXPECT_FALSE(machine_.root.exists(source));
  EXPECT_FALSE(machine_.root.exists("/mnt/media/.clip.mpg.metadata"));
  EXPECT_THAT(argv(tool::rm),
              ElementsAre("/bin/rm", "-Rfv", "--", "/mnt/media/.clip.mpg.metadata"));
}

TEST_F(service_job, source_that_vanishes_before_cleanup_is_not_removed_again) {
  machine_.root.plan_call(tool::startitem, 2, tool_plan().mark("last tool").wait("go"));
  const std::string id = start_job({{"delete on finish", "1"}});
  ASSERT_TRUE(machine_.root.wait_for_mark("last tool"));
  ASSERT_EQ(unlink(machine_.root.path(source).c_str()), 0);
  machine_.root.release("go");
  machine_.client.wait_for_transcode_state(id, "done");
  EXPECT_TRUE(machine_.root.calls(tool::rm).empty());
  EXPECT_TRUE(machine_.root.exists("/mnt/media/.clip.mpg.metadata"));
}

TEST_F(service_job, source_that_was_replaced_before_any_transcode_is_removed) {
  const std::string id = start_job_in_waiting();
  replace_source();
  remove(id);
  wait_until_gone(id);
  EXPECT_FALSE(machine_.root.exists(source));
}

TEST_F(service_job,
       source_that_was_replaced_is_removed_if_the_job_was_cancelled_before_it_started) {
  const std::string id = start_job_in_waiting();
  cancel(id);
  replace_source();
  remove(id);
  wait_until_gone(id);
  EXPECT_FALSE(machine_.root.exists(source));
}

TEST_F(service_job, source_that_was_replaced_is_kept_if_the_job_was_cancelled_after_it_started) {
  machine_.root.plan(tool::transcode, tool_plan().mark("transcode").wait("go"));
  const std::string id = start_job({{"delete on finish", "1"}});
  ASSERT_TRUE(machine_.root.wait_for_mark("transcode"));
  cancel(id);
  replace_source();
  remove(id);
  machine_.client.wait_for_state_text(id, "Unable to remove metadata");
  EXPECT_TRUE(machine_.root.exists(source));
}

TEST_F(service_job, item_removed_during_cleanup_is_cleared_after_it) {
  machine_.root.plan(tool::rm, tool_plan().mark("rm").wait("go").remove_trees());
  machine_.root.write_metadata(source, {{"file type", "image/png"}});
  const std::string id = start_job({{"delete on finish", "1"}});
  machine_.client.wait_for_transcode_state(id, "cancelled");
  EXPECT_EQ(machine_.client.command("remove", id).status(), "OK");
  ASSERT_TRUE(machine_.root.wait_for_mark("rm"));
  EXPECT_EQ(machine_.client.transcode_state(id), "cleanup");
  machine_.root.release("go");
  EXPECT_TRUE(wait_until([&] { return machine_.client.item(id).is_null(); }));
  EXPECT_FALSE(machine_.root.exists(source));
}

TEST_F(service_job, many_jobs_leave_no_descriptor_and_no_zombie) {
  machine_.start();
  const auto add = [this](int i) {
    const std::string name = "/mnt/media/" + std::to_string(i) + ".mpg";
    machine_.root.write_source(name);
    return machine_.client.add_ready(name);
  };
  // The first job opens everything that stays open as long as the service runs.
  machine_.client.wait_for_transcode_state(add(0), "done");
  const auto before = machine_.service.open_descriptors().size();  // this may include a client
  std::vector<std::string> ids;
  for (int i = 1; i < 9; ++i) {
    ids.push_back(add(i));
  }
  for (const auto& id : ids) {
    machine_.client.wait_for_transcode_state(id, "done");
  }
  EXPECT_EQ(machine_.root.processes().size(), 1U) << "the service alone";
  EXPECT_TRUE(wait_until([&] { return machine_.service.open_descriptors().size() <= before; }));
}
