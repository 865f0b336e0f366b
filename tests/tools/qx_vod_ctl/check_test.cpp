// check as a person runs it.
#include <csignal>

#include <sys/stat.h>
#include <sys/wait.h>

#include <gmock/gmock.h>

#include "tests/support/media/test_media.h"
#include "tests/support/wait_until.h"
#include "tests/tools/qx_vod_ctl/machine.h"

using namespace qx_test;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

namespace {

constexpr const char* clip = "/mnt/media/clip.mp4";

// A machine with the project's own tools and no service: check needs none.
struct machine_with_tools {
  run_result check(const std::vector<std::string>& arguments) const {
    std::vector<std::string> all = {"/usr/bin/qx_vod_ctl", "check"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return root.run(all);
  }
  void put(const std::string& media, const std::string& path) const {
    root.write(path, read_file(test_media(media)));
  }
  private_root root{tool_set::built};
};

std::vector<std::string> names_in(const private_root& root) {
  return lines_of(root.run({"/usr/bin/find", "/mnt"}).out);
}

}  // namespace

TEST(ctl_check, predicts_the_outcome_for_real_media) {
  const machine_with_tools machine;
  machine.put("progressive.mp4", clip);
  const auto result = machine.check({clip});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_THAT(result.out,
              HasSubstr("accepted  yes\nidentity  video/mp4, 640x360, 25.000 fps, h264, "
                        "aac, "));
  EXPECT_THAT(result.out, HasSubstr("offered   360 240\nprofile   360, because it is the first "));
  EXPECT_THAT(result.out, HasSubstr("where     here\nsize      at most "));
  EXPECT_THAT(result.out, HasSubstr("command   /usr/bin/qxmi_vod_transcode -d 7 --cpu-cap 70 "));
}

TEST(ctl_check, writes_nothing) {
  const machine_with_tools machine;
  machine.put("progressive.mp4", clip);
  const auto before = names_in(machine.root);
  machine.check({clip});
  EXPECT_EQ(names_in(machine.root), before);
}

TEST(ctl_check, time_is_based_on_earlier_jobs_and_omitted_without_any) {
  const machine_with_tools machine;
  machine.put("progressive.mp4", clip);
  EXPECT_THAT(machine.check({clip}).out, Not(HasSubstr("\ntime ")));
  machine.root.write("/mnt/cache/qx_vod_ctl/history", "speed 2 360\nspeed 9 720\n");
  const auto result = machine.root.run(
      {"/usr/bin/env", "XDG_CACHE_HOME=/mnt/cache", "/usr/bin/qx_vod_ctl", "check", clip});
  EXPECT_THAT(result.out, HasSubstr("time      about 0:02 once it starts: jobs with profile 360 "
                                    "ran at 2.0 times playing speed\n"));
}

TEST(ctl_check, finished_segments_of_the_file_are_counted_if_there_are_checkpoints) {
  const machine_with_tools machine;
  machine.put("progressive.mp4", clip);
  leave_segments(machine.root, clip);
  const auto with = [&](const std::string& checkpoint) {
    machine.root.write("/mnt/media.conf", "checkpoint=" + checkpoint + "\n");
    return machine.root
        .run({"/bin/sh", "-c",
              std::string("QX_MEDIA_CONF=/mnt/media.conf exec /usr/bin/qx_vod_ctl check ") + clip})
        .out;
  };
  EXPECT_THAT(with("yes"), HasSubstr("\nsegments  2 are finished, 2."));
  EXPECT_THAT(with("no"), Not(HasSubstr("segments")));
}

TEST(ctl_check, sound_alone_is_accepted) {
  const machine_with_tools machine;
  machine.put("tone.mp3", "/mnt/media/tone.mp3");
  EXPECT_THAT(machine.check({"/mnt/media/tone.mp3"}).out, HasSubstr("profile   audio, because"));
}

TEST(ctl_check, text_is_refused_with_5) {
  const machine_with_tools machine;
  machine.put("text.mp4", clip);
  const auto result = machine.check({clip});
  EXPECT_EQ(result.status, 5);
  EXPECT_THAT(result.out, HasSubstr("no: Rejected: File type is not transcodeable"));
}

TEST(ctl_check, folder_without_metadata_is_refused_with_5) {
  const machine_with_tools machine;
  machine.put("text.mp4", "/mnt/media/folder/a");
  const auto result = machine.check({"/mnt/media/folder"});
  EXPECT_EQ(result.status, 5);
  EXPECT_THAT(result.out, HasSubstr("Rejected: Unable to create metadata or identify item"));
  EXPECT_THAT(result.out, HasSubstr("note      the file is a directory\n"));
}

TEST(ctl_check, missing_file_ends_with_4) {
  const machine_with_tools machine;
  EXPECT_EQ(machine.check({"/mnt/media/absent.mp4"}).status, 4);
  EXPECT_EQ(machine.check({"/mnt/nowhere/absent.mp4"}).status, 4);
}

TEST(ctl_check, fifo_is_refused_without_blocking) {
  const machine_with_tools machine;
  ASSERT_EQ(mkfifo(machine.root.path("/mnt/media/fifo").c_str(), 0666), 0);
  const auto result = machine.check({"/mnt/media/fifo"});
  EXPECT_EQ(result.status, 5);
  EXPECT_THAT(result.out, HasSubstr("neither file nor folder"));
}

TEST(ctl_check, name_in_brackets_is_one_name) {
  const machine_with_tools machine;
  machine.put("tone.mp3", "/mnt/media/[a,b]");
  const auto result = machine.root.run(
      {"/usr/bin/env", "-C", "/mnt/media", "/usr/bin/qx_vod_ctl", "check", "[a,b]"});
  EXPECT_EQ(result.status, 0) << result.out << result.err;
  EXPECT_THAT(result.out, StartsWith("file      /mnt/media/[a,b]\n"));
}

TEST(ctl_check, remote_server_s_password_is_not_shown) {
  const machine_with_tools machine;
  machine.root.write_config({{"transcode server address", "far.example"},
                             {"transcode server user", "vod"},
                             {"transcode server password", "s.*[e]cret"}});
  machine.put("progressive.mp4", clip);
  const auto result = machine.check({clip});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, HasSubstr("where     on the server far.example\n"));
  EXPECT_THAT(result.out, HasSubstr("qxmi_remote_transcode UUID /mnt/media/clip.mp4\n"));
  EXPECT_THAT(result.out, Not(HasSubstr("s.*[e]cret")));
}

TEST(ctl_check, fifo_as_configuration_is_reported_without_blocking) {
  const machine_with_tools machine;
  machine.put("tone.mp3", clip);
  ASSERT_EQ(mkfifo(machine.root.path("/mnt/main/tv/vod.conf").c_str(), 0600), 0);
  const auto result = machine.check({clip});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, HasSubstr("note      /mnt/main/tv/vod.conf is not a regular file"));
}

TEST(ctl_check, empty_name_is_a_wrong_command_line) {
  const machine_with_tools machine;
  EXPECT_EQ(machine.check({""}).status, 2);
  EXPECT_EQ(machine.check({}).status, 2);
  EXPECT_EQ(machine.check({"a", "b"}).status, 2);
}

TEST(ctl_check, signal_ends_it_while_the_transcoder_lists) {
  const private_root root;
  root.write_source(clip, "video/mp4");
  root.plan(tool::quote, tool_plan().mark("asked").wait("never"));
  const pid_t pid = root.spawn({"/usr/bin/qx_vod_ctl", "check", clip});
  ASSERT_TRUE(root.wait_for_mark("asked"));
  kill(pid, SIGTERM);
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
}

TEST(ctl_check, and_similar_commands_have_help_that_fits_a_screen) {
  const private_root root;
  for (const std::string subcommand : {"doctor", "check", "report"}) {
    const auto help = root.run({"/usr/bin/qx_vod_ctl", subcommand, "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_THAT(help.out, HasSubstr("Usage: qx_vod_ctl " + subcommand));
    EXPECT_LE(lines_of(help.out).size(), 23U);
    for (const auto& line : lines_of(help.out)) {
      EXPECT_LE(line.size(), 80U) << line;
    }
  }
}
