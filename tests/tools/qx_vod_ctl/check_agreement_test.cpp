// "check" and the service say the same of the same file.
#include <fcntl.h>
#include <sys/stat.h>

#include <gmock/gmock.h>

#include "tests/tools/qx_vod_ctl/machine.h"

using namespace qx_test;

namespace {

constexpr const char* clip = "/mnt/media/clip.mpg";
constexpr const char* refused_pairs = "One or more parameters were not accepted";

struct compared_machine : ctl_machine {
  // The service's verdict on the file: "" if it becomes a VOD.
  std::string service_says(const std::string& path, const std::string& profile) const {
    name_values pairs = {{"input file", path}};
    if (!profile.empty()) { pairs.emplace_back("transcode profile", profile); }
    const auto reply = client.request("add", pairs);
    if (reply.status() != "OK") { return reply.status(); }
    const std::string id = reply.pair("entry id");
    if (client.command("ready", id).status() != "OK") { return client.state_text(id); }
    const auto item = client.wait_for_item(id, [](const json11::Json& json) {
      const std::string& state = json["transcode state"].string_value();
      return state == "done" || state == "cancelled";
    });
    return item["transcode state"].string_value() == "done" ? "" : item["state"].string_value();
  }

  json11::Json check(const std::string& path, const std::string& profile = "") const {
    std::vector<std::string> arguments = {"check", "--json"};
    if (!profile.empty()) { arguments.insert(arguments.end(), {"--profile", profile}); }
    arguments.insert(arguments.end(), {"--", path});
    const auto result = ctl(arguments);
    std::string error;
    auto json = json11::Json::parse(result.out, error);
    EXPECT_EQ(result.status == 0, json["accepted"].bool_value());
    return json;
  }

  // Compares both and returns what they say.
  std::string both(const std::string& path, const std::string& profile = "") const {
    std::string text = check(path, profile)["text"].string_value();
    EXPECT_EQ(text, service_says(path, profile)) << path;
    return text;
  }

  void write_media(const std::string& path) const { root.write_source(path, "video/mp4"); }
};

}  // namespace

TEST(ctl_check_agreement, ordinary_file_is_accepted) {
  compared_machine machine;
  machine.start();
  machine.write_media(clip);
  EXPECT_EQ(machine.both(clip), "");
}

TEST(ctl_check_agreement, folder_with_metadata_is_accepted) {
  compared_machine machine;
  machine.start();
  machine.write_media("/mnt/media/titles/one.mpg");
  machine.root.write_metadata("/mnt/media/titles", {{"file type", "video/dvd"}});
  EXPECT_EQ(machine.both("/mnt/media/titles"), "");
}

TEST(ctl_check_agreement, paths_that_are_refused) {
  compared_machine machine;
  machine.start();
  machine.write_media("/mnt/media/.hidden.mpg");
  machine.write_media(clip);
  EXPECT_EQ(machine.both("/etc/passwd"), "Rejected: Forbidden input file");
  EXPECT_EQ(machine.both("/mnt/main/tv/vod.conf"), "Rejected: Forbidden input file");
  EXPECT_EQ(machine.both("/mnt/media/.hidden.mpg"), refused_pairs);
  EXPECT_EQ(machine.both("/mnt/media/a\nb"), refused_pairs);
  EXPECT_EQ(machine.both("/mnt/media/" + std::string(256, 'x')), refused_pairs);
  EXPECT_EQ(machine.both("/mnt/media/.clip.mpg.metadata/metadata"), "Rejected: File is metadata");
}

TEST(ctl_check_agreement, other_kinds_of_files) {
  compared_machine machine;
  machine.start();
  machine.write_media(clip);
  machine.root.run({"/bin/ln", "-s", "clip.mpg", "/mnt/media/link.mpg"});
  machine.root.run({"/bin/ln", "-s", "../../../etc", "/mnt/media/way_out"});
  ASSERT_EQ(mkfifo(machine.root.path("/mnt/media/fifo.mpg").c_str(), 0666), 0);
  EXPECT_EQ(machine.both("/mnt/media/link.mpg"), "Rejected: neither file nor folder");
  EXPECT_EQ(machine.both("/mnt/media/fifo.mpg"), "Rejected: neither file nor folder");
  EXPECT_EQ(machine.both("/mnt/media/way_out/passwd"), "Rejected: unable to locate folder");
  EXPECT_EQ(machine.both("/mnt/nowhere/clip.mpg"), "Rejected: unable to locate folder");
  EXPECT_EQ(machine.both("/mnt/media/absent.mpg"),
            "Rejected: file not accessible, No such file or directory");
}

TEST(ctl_check_agreement, metadata_that_refuse_the_file) {
  compared_machine machine;
  machine.start();
  machine.root.write_source("/mnt/media/a.txt", "text/plain");
  machine.root.write_source("/mnt/media/away.mpg");
  machine.root.write_metadata("/mnt/media/away.mpg",
                              {{"file type", "video/mp4"}, {"offline", "1"}});
  machine.root.write_source("/mnt/media/torn.mpg");
  machine.root.write("/mnt/media/.torn.mpg.metadata/metadata", "no entry");
  EXPECT_EQ(machine.both("/mnt/media/a.txt"), "Rejected: File type is not transcodeable");
  EXPECT_EQ(machine.both("/mnt/media/away.mpg"), "Rejected: File is marked offline");
  EXPECT_EQ(machine.both("/mnt/media/torn.mpg"), "unable to check metadata");
}

TEST(ctl_check_agreement, names_too_long_for_an_output_or_for_metadata) {
  compared_machine machine;
  machine.start();
  const std::string with_output = "/mnt/media/" + std::string(210, 'a') + ".mpg";
  const std::string without_output = "/mnt/media/" + std::string(220, 'a') + ".mpg";
  const std::string without_metadata = "/mnt/media/" + std::string(242, 'a') + ".mpg";
  machine.write_media(with_output);
  machine.write_media(without_output);
  machine.root.write_source(without_metadata);
  EXPECT_EQ(machine.both(with_output), "");
  EXPECT_EQ(machine.both(without_output),
            "Rejected: Transcoder could not determine profiles (but returned success)");
  EXPECT_EQ(machine.both(without_metadata), "unable to check metadata");
}

TEST(ctl_check_agreement, transcoder_that_fails) {
  compared_machine machine;
  machine.start();
  machine.write_media(clip);
  machine.root.plan(tool::quote,
                    tool_plan().print_error("contains nothing that can be decoded\n").exit(1));
  EXPECT_EQ(machine.both(clip), "Rejected: Unable to determine appropriate transcoding profiles");
  EXPECT_EQ(machine.check(clip)["note"].string_value(), "contains nothing that can be decoded");
}

TEST(ctl_check_agreement, missing_transcoder) {
  compared_machine machine;
  machine.start();
  machine.write_media(clip);
  machine.root.break_tool("qxmi_vod_transcode");
  EXPECT_EQ(machine.both(clip), "Rejected: Unable to determine appropriate transcoding profiles");
}

TEST(ctl_check_agreement, transcoder_that_lists_nothing) {
  compared_machine machine;
  machine.start();
  machine.write_media(clip);
  machine.root.plan(tool::quote, tool_plan().print("*QUOTE\n"));
  EXPECT_EQ(machine.both(clip),
            "Rejected: Transcoder could not determine profiles (but returned success)");
}

TEST(ctl_check_agreement, listing_that_just_fits_the_buffer) {
  compared_machine machine;
  machine.start();
  machine.write_media(clip);
  machine.root.plan(tool::quote, tool_plan().print("*QUOTE\n.. 720\n").fill(16383 - 14));
  EXPECT_EQ(machine.both(clip), "");
}

TEST(ctl_check_agreement, listing_that_fills_the_buffer) {
  compared_machine machine;
  machine.start();
  machine.write_media(clip);
  machine.root.plan(tool::quote, tool_plan().print("*QUOTE\n.. 720\n").fill(16384 - 14));
  EXPECT_EQ(machine.both(clip),
            "Rejected: utility std-output buffer overrun. Please report to Velmar staff.");
}

TEST(ctl_check_agreement, given_profile) {
  compared_machine machine;
  machine.start();
  machine.write_media(clip);
  EXPECT_EQ(machine.both(clip, "480"), "");
  const std::string refused = machine.check(clip, "anything")["text"].string_value();
  EXPECT_EQ(refused, "there is no profile \"anything\" for this source; offered: 1080, 720, 480");
}

struct chosen {
  const char* name;
  const char* max_profile;
  const char* listing;
  const char* fullspeed;
};

void PrintTo(const chosen& row, std::ostream* out) {
  *out << row.name;
}

class ctl_check_choice : public ::testing::TestWithParam<chosen> {};

TEST_P(ctl_check_choice, and_command_line_are_those_of_the_service) {
  compared_machine machine;
  machine.root.write_config(
      {{"max profile", GetParam().max_profile}, {"fullspeed", GetParam().fullspeed}});
  machine.root.plan(tool::quote, tool_plan().print(GetParam().listing));
  machine.write_media(clip);
  machine.start();
  const auto found = machine.check(clip);
  const auto asked = machine.root.wait_for_call(tool::quote);
  const std::string id = machine.client.add_ready(clip);
  const auto ran = machine.root.wait_for_call(tool::transcode);
  EXPECT_EQ(machine.root.wait_for_call(tool::quote, 2).argv, asked.argv);

  const auto item = machine.client.item(id);
  EXPECT_EQ(found["profile"].string_value(), item["transcode profile"].string_value());
  std::vector<std::string> command;
  const json11::Json told = found["commands"][0];
  for (const auto& argument : told.array_items()) {
    std::string text = argument.string_value();
    const auto moment = text.find("/TIME.");
    const std::string& output = item["output file"].string_value();
    if (moment != std::string::npos) {
      text.replace(moment + 1, 4, output, moment + 1, output.find(".vod.") - moment - 1);
    }
    command.push_back(text);
  }
  EXPECT_EQ(command, ran.argv);
  machine.client.wait_for_transcode_state(id, "done");
}

INSTANTIATE_TEST_SUITE_P(
    settings, ctl_check_choice,
    ::testing::Values(chosen{"no_limit", "-1", "*QUOTE\n.. 1080\n.. 720\n", "0"},
                      chosen{"limit", "720", "*QUOTE\n.. 1080\n.. 720\n.. 480\n", "1"},
                      chosen{"none_fits", "100", "*QUOTE\n.. 1080\n.. 720\n", "0"},
                      chosen{"sound", "100", "*QUOTE\n.. audio\n", "0"}),
    [](const auto& row) { return row.param.name; });
