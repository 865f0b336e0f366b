// add: how the names that people type are interpreted.
#include <gmock/gmock.h>

#include "tests/tools/qx_vod_ctl/machine.h"

using namespace qx_test;
using ::testing::HasSubstr;
using ::testing::SizeIs;

namespace {

std::string input_of(const ctl_machine& machine, const std::string& id) {
  return machine.client.item(id)["input file"].string_value();
}

}  // namespace

TEST(ctl_add, prints_the_entry_id_and_starts_the_job) {
  ctl_machine machine;
  machine.start();
  machine.root.write_source("/mnt/media/clip.mpg");
  const auto result = machine.ctl({"add", "/mnt/media/clip.mpg"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  const std::string id = chomped(result.out);
  EXPECT_THAT(id, SizeIs(36));
  machine.client.wait_for_transcode_state(id, "done");
}

TEST(ctl_add, relative_names_are_resolved_in_the_working_folder) {
  ctl_machine machine;
  machine.start();
  machine.root.write_source("/mnt/media/clip.mpg");
  machine.root.write_source("/mnt/media/in/clip.mpg");
  const auto result =
      machine.ctl_in("/mnt/media/in", {"add", "clip.mpg", "../clip.mpg", ".//../in/./clip.mpg"});
  EXPECT_EQ(result.status, 0) << result.err;
  const auto ids = lines_of(result.out);
  ASSERT_THAT(ids, SizeIs(3));
  EXPECT_EQ(input_of(machine, ids[0]), "/mnt/media/in/clip.mpg");
  EXPECT_EQ(input_of(machine, ids[1]), "/mnt/media/clip.mpg");
  EXPECT_EQ(input_of(machine, ids[2]), "/mnt/media/in/clip.mpg");
}

TEST(ctl_add, symbolic_link_is_sent_unresolved_and_refused) {
  ctl_machine machine;
  machine.start();
  machine.root.write_source("/mnt/media/clip.mpg");
  machine.root.run({"/bin/ln", "-s", "clip.mpg", "/mnt/media/link.mpg"});
  const auto result = machine.ctl_in("/mnt/media", {"add", "link.mpg"});
  EXPECT_EQ(result.status, 5);
  EXPECT_EQ(result.err, "qx_vod_ctl: link.mpg: Rejected: neither file nor folder; name the file "
                        "itself, not a link or device\n");
}

TEST(ctl_add, odd_names_arrive_unchanged) {
  ctl_machine machine;
  machine.start();
  const std::vector<std::string> names = {"with blank.mpg",
                                          "Z\xc3\xbcrich \xe2\x82\xac.mpg",
                                          "-dash.mpg",
                                          "--hold",
                                          "[a,b]",
                                          "{}",
                                          "%%",
                                          "it's \"quoted\" $HOME *.mpg",
                                          "add",
                                          "a=b"};
  std::vector<std::string> arguments = {"add", "--"};
  for (const auto& name : names) {
    machine.root.write_source("/mnt/media/" + name);
    arguments.push_back(name);
  }
  const auto result = machine.ctl_in("/mnt/media", arguments);
  EXPECT_EQ(result.status, 0) << result.err;
  const auto ids = lines_of(result.out);
  ASSERT_THAT(ids, SizeIs(names.size()));
  for (std::size_t i = 0; i < names.size(); ++i) {
    EXPECT_EQ(input_of(machine, ids[i]), "/mnt/media/" + names[i]);
  }
}

TEST(ctl_add, options_reach_the_item) {
  ctl_machine machine;
  machine.start();
  machine.root.write_source("/mnt/media/clip.mpg");
  const auto result = machine.ctl(
      {"add", "/mnt/media/clip.mpg", "--profile", "480", "--delete-on-finish", "--hold"});
  const auto item = machine.client.item(chomped(result.out));
  EXPECT_EQ(item["transcode profile"].string_value(), "480");
  EXPECT_TRUE(item["delete on finish"].bool_value());
  EXPECT_EQ(item["transcode state"].string_value(), "init");
}

TEST(ctl_add, profile_that_the_source_does_not_offer_is_never_sent) {
  ctl_machine machine;
  machine.start();
  machine.root.write_source("/mnt/media/clip.mpg");
  const auto result = machine.ctl({"add", "--profile", "1440", "/mnt/media/clip.mpg"});
  EXPECT_EQ(result.status, 5);
  EXPECT_EQ(result.err, "qx_vod_ctl: /mnt/media/clip.mpg: there is no profile \"1440\" for this "
                        "source; offered: 1080, 720, 480\n");
  EXPECT_EQ(machine.client.list()["total"].int_value(), 0);
}

TEST(ctl_add, profile_that_cannot_be_checked_is_left_to_the_service) {
  ctl_machine machine;
  machine.start();
  machine.root.write_source("/mnt/media/clip.mpg");
  machine.root.plan_call(tool::quote, 1, tool_plan().print_error("no right to look\n").exit(1));
  const auto result = machine.ctl({"add", "--profile", "1440", "/mnt/media/clip.mpg"});
  EXPECT_EQ(result.status, 0) << result.err;
  const auto item = machine.client.item(chomped(result.out));
  EXPECT_EQ(item["transcode profile"].string_value(), "1440");
}

TEST(ctl_modify, profile_that_the_source_does_not_offer_is_never_sent) {
  ctl_machine machine;
  machine.start();
  machine.root.write_source("/mnt/media/clip.mpg");
  const auto id =
      chomped(machine.ctl({"add", "--hold", "--profile", "480", "/mnt/media/clip.mpg"}).out);
  const auto result = machine.ctl({"modify", id, "transcode profile=1440"});
  EXPECT_EQ(result.status, 5);
  EXPECT_THAT(result.err, HasSubstr("offered: 1080, 720, 480\n"));
  EXPECT_EQ(machine.client.item(id)["transcode profile"].string_value(), "480");
  EXPECT_EQ(machine.ctl({"modify", id, "transcode profile=720"}).status, 0);
}

TEST(ctl_add, raw_form_is_the_item) {
  ctl_machine machine;
  machine.start();
  machine.root.write_source("/mnt/media/clip.mpg");
  const auto result = machine.ctl({"add", "--json", "/mnt/media/clip.mpg"});
  std::string error;
  const auto item = json11::Json::parse(result.out, error);
  EXPECT_EQ(item["input file"].string_value(), "/mnt/media/clip.mpg");
  EXPECT_EQ(item["transcode state"].string_value(), "ready");
}

TEST(ctl_add, forbidden_file_ends_with_5_and_the_service_s_text) {
  ctl_machine machine;
  machine.start();
  const auto result = machine.ctl({"add", "/etc/passwd"});
  EXPECT_EQ(result.status, 5);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err, ::testing::StartsWith("qx_vod_ctl: /etc/passwd: "));
}

TEST(ctl_add, refused_job_is_removed_from_the_queue) {
  ctl_machine machine;
  machine.start();
  const auto result = machine.ctl({"add", "--delete-on-finish", "/mnt/media/absent.mpg"});
  EXPECT_EQ(result.status, 5);
  EXPECT_EQ(result.err, "qx_vod_ctl: /mnt/media/absent.mpg: "
                        "Rejected: file not accessible, No such file or directory\n");
  const auto page = machine.client.list();
  for (const auto& item : page["list"].array_items()) {
    EXPECT_EQ(item["transcode state"].string_value(), "cleared");
  }
}

TEST(ctl_add, continues_after_a_refusal_and_ends_with_5) {
  ctl_machine machine;
  machine.start();
  machine.root.write_source("/mnt/media/clip.mpg");
  const auto result = machine.ctl({"add", "/mnt/media/absent.mpg", "/mnt/media/clip.mpg"});
  EXPECT_EQ(result.status, 5);
  EXPECT_THAT(lines_of(result.out), SizeIs(1));
  EXPECT_THAT(lines_of(result.err), SizeIs(1));
}

TEST(ctl_add, escape_sequence_in_a_name_does_not_reach_the_terminal) {
  ctl_machine machine;
  machine.start();
  const auto result = machine.ctl({"add", "/mnt/media/\x1b[2J"});
  EXPECT_EQ(result.status, 5);
  EXPECT_THAT(result.err, HasSubstr("/mnt/media/\\x1b[2J: "));
}
