// report on a private machine: the contents of the archive, and the secrets that must not be in it.
#include <csignal>

#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <gmock/gmock.h>

#include "tests/support/media/test_media.h"
#include "tests/support/wait_until.h"
#include "tests/tools/qx_vod_ctl/machine.h"

using namespace qx_test;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;

namespace {

constexpr const char* clip = "/mnt/media/clip.mpg";
constexpr const char* archive = "/mnt/media/out.tar.gz";
constexpr const char* password = "p.*[a]\\(\"w";

struct report_machine : ctl_machine {
  std::vector<std::string> names() const {
    return lines_of(root.run({"/usr/bin/tar", "-tzf", archive}).out);
  }

  // The text of one part.
  std::string part(const std::string& name) const {
    return root.run({"/usr/bin/tar", "-xzOf", archive, "--wildcards", "*/" + name}).out;
  }

  std::string everything() const { return root.run({"/usr/bin/tar", "-xzOf", archive}).out; }

  run_result report(const std::string& id) const { return ctl({"report", id, "-o", archive}); }

  void configure_server() const {
    root.write_config({{"transcode server address", "far.example"},
                       {"transcode server user", "farvod"},
                       {"transcode server password", password}});
  }

  // Puts a shell script in a program's place.
  void replace(const std::string& program, const std::string& script) const {
    const std::string other = "/mnt/media/replaced";
    root.write(other, "#!/bin/sh\n" + script);
    ASSERT_EQ(chmod(root.path(other).c_str(), 0755), 0);
    ASSERT_EQ(root.run_inside(
                  [&] { return mount(other.c_str(), program.c_str(), nullptr, MS_BIND, nullptr); }),
              0);
  }

  std::string folders_left() const {
    return root.run({"/bin/sh", "-c", "stat -c '%a %n' /run/qx-vod-ctl-* /tmp/qx-vod-ctl-*"}).out;
  }
};

}  // namespace

TEST(ctl_bug_report, holds_item_status_probes_versions_configuration_and_findings) {
  report_machine machine;
  machine.root.write_config({{"max profile", "720"}});
  machine.start();
  machine.root.write(clip, read_file(test_media("progressive.mp4")));
  const std::string id = machine.add(clip);
  const auto item = machine.client.wait_for_transcode_state(id, "done");
  machine.root.write(item["output file"].string_value(), read_file(test_media("progressive.mp4")));
  leave_segments(machine.root, clip);
  const auto result = machine.report(id.substr(0, 8));
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out, std::string(archive) + "\n");
  for (const char* name :
       {"/item.json", "/doctor.json", "/versions.json", "/configuration.txt", "/job/status",
        "/job/copy_pid", "/source/file.txt", "/source/metadata", "/source/probe.json",
        "/output/file.txt", "/output/.transcode", "/output/.vod.metadata", "/output/probe.json"}) {
    EXPECT_THAT(machine.names(), Contains(EndsWith(name)));
  }
  EXPECT_THAT(machine.part("item.json"), HasSubstr(id));
  EXPECT_THAT(machine.part("job/status"), HasSubstr("transcode state=done"));
  EXPECT_THAT(machine.part("source/probe.json"), HasSubstr("\"codec_name\": \"h264\""));
  EXPECT_EQ(machine.part("configuration.txt"), "max profile = 720\n");
  EXPECT_THAT(machine.part("versions.json"),
              AllOf(HasSubstr("\"ffmpeg\": \"ffmpeg version"), HasSubstr("qx_vod_service\""),
                    HasSubstr("\"kernel\": \"Linux"), HasSubstr("\"distribution\": \"Debian")));
  EXPECT_THAT(machine.part("doctor.json"), HasSubstr("\"check\": \"socket\""));
  EXPECT_THAT(machine.part("output/segments.txt"),
              HasSubstr("/mnt/main/tv/vod/: 2 finished segments of the source, 20"));
}

TEST(ctl_bug_report, missing_parts_are_listed_with_their_reason) {
  report_machine machine;
  machine.start();
  const std::string id = machine.add_done(clip);
  ASSERT_EQ(unlink(machine.root.path(clip).c_str()), 0);
  EXPECT_EQ(machine.report(id).status, 0);
  EXPECT_THAT(machine.part("missing.txt"),
              AllOf(HasSubstr("configuration.txt: /mnt/main/tv/vod.conf: No such file"),
                    HasSubstr("source/probe.json: /mnt/media/clip.mpg No such file or directory\n"),
                    HasSubstr("output/probe.json: ")));
}

TEST(ctl_bug_report, follows_no_link_out_of_another_user_s_folder) {
  report_machine machine;
  machine.start();
  const std::string id = machine.add_done(clip);
  const std::string metadata = machine.root.path("/mnt/media/.clip.mpg.metadata/metadata");
  machine.root.write("/mnt/media/secret", "for root alone");
  ASSERT_EQ(unlink(metadata.c_str()), 0);
  ASSERT_EQ(symlink("/mnt/media/secret", metadata.c_str()), 0);
  EXPECT_EQ(machine.report(id).status, 0);
  EXPECT_THAT(machine.everything(), Not(HasSubstr("for root alone")));
  EXPECT_THAT(machine.part("missing.txt"), HasSubstr("source/metadata: "));
}

TEST(ctl_bug_report, is_named_after_job_and_time_in_the_working_folder) {
  report_machine machine;
  machine.start();
  const std::string id = machine.add_done(clip);
  const auto result = machine.ctl_in("/mnt/media", {"report", id});
  EXPECT_EQ(result.status, 0) << result.err;
  const std::string name = chomped(result.out);
  EXPECT_THAT(name, MatchesRegex("qx_vod_report-" + id.substr(0, 8) + "-[0-9]+-[0-9]+.tar.gz"));
  EXPECT_TRUE(machine.root.exists("/mnt/media/" + name));
}

TEST(ctl_bug_report, is_readable_only_by_its_owner_and_leaves_nothing_else) {
  report_machine machine;
  machine.start();
  EXPECT_EQ(machine.report(machine.add_done(clip)).status, 0);
  struct stat status = {};
  ASSERT_EQ(stat(machine.root.path(archive).c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0600U);
  EXPECT_THAT(machine.folders_left(), Not(HasSubstr("/run/")));
}

TEST(ctl_bug_report, never_replaces_a_file) {
  report_machine machine;
  machine.start();
  machine.root.write(archive, "mine");
  const auto result = machine.report(machine.add_done(clip));
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "qx_vod_ctl: /mnt/media/out.tar.gz: already exists\n");
  EXPECT_EQ(machine.root.read(archive), "mine");
}

TEST(ctl_bug_report, contains_no_password_even_while_a_tool_runs_with_it) {
  report_machine machine;
  machine.configure_server();
  machine.root.plan("curl.add", tool_plan().read_stdin().mark("asked").wait("go"));
  machine.root.write_source(clip);
  machine.root.write_metadata(clip, {{"file type", "video/mp4"}, {"title", password}});
  machine.start();
  const std::string id = machine.add(clip);
  ASSERT_TRUE(machine.root.wait_for_mark("asked"));
  const auto item = machine.client.item(id);
  ASSERT_THAT(item["process argv"].dump(), HasSubstr("farvod:")) << "there is something to hide";
  EXPECT_EQ(machine.report(id).status, 0);
  const std::string everything = machine.everything();
  EXPECT_THAT(everything, Not(HasSubstr(password)));
  EXPECT_THAT(everything, Not(HasSubstr("p.*[a]\\\\(\\\"w"))) << "as JSON writes it";
  EXPECT_THAT(everything, Not(HasSubstr("farvod")));
  EXPECT_THAT(machine.part("source/metadata"), HasSubstr("title=(masked)"));
  EXPECT_THAT(machine.part("item.json"), HasSubstr("\"--user\", \"(masked)\""));
  machine.root.release("go");
}

TEST(ctl_bug_report, unknown_id_ends_with_4) {
  report_machine machine;
  machine.start();
  EXPECT_EQ(machine.report("nothing").status, 4);
  EXPECT_FALSE(machine.root.exists(archive));
}

TEST(ctl_bug_report, job_number_is_accepted) {
  report_machine machine;
  machine.start();
  const auto item = machine.client.item(machine.add_done(clip));
  EXPECT_EQ(machine.report("job:" + std::to_string(item["fileops job id"].int_value())).status, 0);
}

TEST(ctl_bug_report, without_a_service_takes_the_item_from_the_queue_file) {
  report_machine machine;
  machine.start();
  const std::string id = machine.add_done(clip);
  machine.service.stop();
  EXPECT_EQ(machine.report(id.substr(0, 6)).status, 0);
  EXPECT_THAT(machine.part("item.json"), HasSubstr(id));
  EXPECT_THAT(machine.part("missing.txt"), HasSubstr("item.json comes from the queue file"));
  EXPECT_EQ(machine.ctl({"report", "nothing"}).status, 4);
}

TEST(ctl_bug_report, full_disk_is_a_failure_and_leaves_nothing) {
  report_machine machine;
  machine.start();
  const std::string id = machine.add_done(clip);
  machine.root.mount_small_disk("/mnt/small", 16384);
  machine.root.run({"/bin/sh", "-c", "cat /dev/zero > /mnt/small/fill"});
  const auto result = machine.ctl({"report", id, "-o", "/mnt/small/out.tar.gz"});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err, HasSubstr("No space left on device"));
  EXPECT_EQ(machine.root.run({"/bin/ls", "-A", "/mnt/small"}).out, "fill\n");
}

TEST(ctl_bug_report, signal_while_it_is_packed_leaves_nothing) {
  report_machine machine;
  machine.start();
  const std::string id = machine.add_done(clip);
  machine.replace("/usr/bin/tar", ": > /mnt/media/packing\nexec sleep 600\n");
  const pid_t pid = machine.root.spawn({"/usr/bin/qx_vod_ctl", "report", id, "-o", archive});
  ASSERT_TRUE(wait_until([&] { return machine.root.exists("/mnt/media/packing"); }));
  EXPECT_THAT(machine.folders_left(), HasSubstr("700 /run/qx-vod-ctl-"));
  kill(pid, SIGTERM);
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
  EXPECT_THAT(machine.folders_left(), Not(HasSubstr("/run/")));
  EXPECT_FALSE(machine.root.exists(archive));
}
