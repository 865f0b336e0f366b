// doctor on a private machine, with one problem at a time.
#include <csignal>
#include <ctime>
#include <filesystem>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <gmock/gmock.h>

#include "tests/support/skip.h"
#include "tests/support/wait_until.h"
#include "tests/tools/qx_vod_ctl/machine.h"

using namespace qx_test;
using ::testing::Each;
using ::testing::HasSubstr;
using ::testing::Not;

namespace {

constexpr const char* configuration = "/mnt/main/tv/vod.conf";
constexpr const char* socket_file = "/run/vod.transcode.service";
constexpr const char* password = "p.*[a]\\(w";

struct doctor_machine : ctl_machine {
  // All findings as JSON; the exit status goes to `status`.
  json11::Json examine() {
    const auto result = ctl({"doctor", "--json"});
    status = result.status;
    everything = result.out + result.err;
    std::string error;
    auto findings = json11::Json::parse(result.out, error);
    EXPECT_TRUE(findings.is_array()) << result.out << result.err;
    return findings;
  }

  // The first finding of that name that is not ok, else the first at all, as "RESULT: TEXT".
  std::string found(const std::string& check) {
    const json11::Json findings = examine();
    std::string first;
    for (const auto& finding : findings.array_items()) {
      if (finding["check"].string_value() != check) { continue; }
      const std::string& result = finding["result"].string_value();
      const std::string text = result + ": " + finding["text"].string_value();
      if (first.empty() || first.rfind("ok", 0) == 0) { first = text; }
      EXPECT_EQ(finding["advice"].string_value().empty(), result == "ok") << finding.dump();
    }
    return first;
  }

  void write_private(const std::string& path, const std::string& content) {
    root.write(path, content);
    EXPECT_EQ(chmod(root.path(path).c_str(), 0600), 0);
  }

  void configure_server() {
    write_private(configuration, std::string("transcode server address = far.example\n"
                                             "transcode server user = vod\n"
                                             "transcode server password = ") +
                                     password + "\n");
  }

  int status = -1;
  std::string everything;
};

}  // namespace

TEST(ctl_doctor, healthy_machine_has_no_problem) {
  doctor_machine machine;
  machine.start();
  const json11::Json findings = machine.examine();
  EXPECT_EQ(machine.status, 0);
  for (const auto& finding : findings.array_items()) {
    EXPECT_NE(finding["result"].string_value(), "problem") << finding.dump();
  }
  EXPECT_GT(findings.array_items().size(), 14U);
}

TEST(ctl_doctor, writes_lines_with_marks_and_no_colour_into_a_file) {
  doctor_machine machine;
  machine.start();
  const auto result = machine.ctl({"doctor"});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, HasSubstr("ok       service             runs and answers\n"));
  EXPECT_THAT(result.out, HasSubstr("no problems"));
  EXPECT_THAT(result.out, Not(HasSubstr("\x1b")));
  EXPECT_EQ(result.err, "");
}

TEST(ctl_doctor, stopped_service_is_a_problem_and_status_1) {
  doctor_machine machine;
  EXPECT_THAT(machine.found("socket"),
              HasSubstr("problem: /var/run/vod.transcode.service: No such"));
  EXPECT_EQ(machine.status, 1);
}

TEST(ctl_doctor, socket_that_nobody_serves_is_a_problem) {
  doctor_machine machine;
  machine.start();
  machine.service.kill();
  EXPECT_THAT(machine.found("service"), HasSubstr("problem: no service at"));
}

TEST(ctl_doctor, service_that_hangs_is_a_problem) {
  doctor_machine machine;
  machine.start();
  kill(machine.service.pid(), SIGSTOP);
  EXPECT_EQ(machine.found("service"), "problem: the service does not answer");
  kill(machine.service.pid(), SIGCONT);
}

TEST(ctl_doctor, socket_open_to_everybody_is_a_problem) {
  doctor_machine machine;
  machine.start();
  ASSERT_EQ(chmod(machine.root.path(socket_file).c_str(), 0777), 0);
  EXPECT_THAT(machine.found("socket"), HasSubstr("problem: anyone on this machine"));
}

TEST(ctl_doctor, configuration_that_the_service_has_not_read_is_a_warning) {
  doctor_machine machine;
  machine.start();
  const timespec later[2] = {{0, UTIME_OMIT}, {time(nullptr) + 60, 0}};
  machine.write_private(configuration, "fullspeed = 1\n");
  ASSERT_EQ(utimensat(AT_FDCWD, machine.root.path(configuration).c_str(), later, 0), 0);
  EXPECT_THAT(machine.found("service"), HasSubstr("warning: /mnt/main/tv/vod.conf has changed"));
  EXPECT_EQ(machine.status, 0);
}

TEST(ctl_doctor, tool_that_cannot_be_run_is_a_problem) {
  doctor_machine machine;
  machine.start();
  machine.root.break_tool("qxmi_grab");
  EXPECT_THAT(machine.found("qxmi_grab"), HasSubstr("problem: /usr/bin/qxmi_grab cannot be exec"));
}

TEST(ctl_doctor, ffmpeg_without_an_encoder_is_a_problem) {
  doctor_machine machine;
  machine.start();
  const std::string other = "/mnt/media/ffmpeg";
  machine.root.write(other, "#!/bin/sh\necho ' V..... mjpeg  x'\n");
  ASSERT_EQ(chmod(machine.root.path(other).c_str(), 0755), 0);
  ASSERT_EQ(machine.root.run_inside(
                [&] { return mount(other.c_str(), "/usr/bin/ffmpeg", nullptr, MS_BIND, nullptr); }),
            0);
  EXPECT_EQ(machine.found("encoders"), "problem: ffmpeg has no encoder libx264, aac");
}

TEST(ctl_doctor, configuration_of_a_megabyte_is_read) {
  doctor_machine machine;
  std::string text;
  while (text.size() < (1U << 20U)) {
    text += "some key = some value\n";
  }
  machine.write_private(configuration, text + std::string(1U << 20U, 'x'));
  machine.start();
  EXPECT_THAT(machine.found("configuration"), HasSubstr("warning: "));
  EXPECT_LT(machine.everything.size(), 16384U);
}

TEST(ctl_doctor, fifo_as_configuration_is_a_problem_and_does_not_block) {
  doctor_machine machine;
  machine.start();
  ASSERT_EQ(mkfifo(machine.root.path(configuration).c_str(), 0600), 0);
  EXPECT_THAT(machine.found("configuration"), HasSubstr("is not a regular file"));
}

TEST(ctl_doctor, password_that_others_may_read_is_a_problem) {
  doctor_machine machine;
  machine.configure_server();
  ASSERT_EQ(chmod(machine.root.path(configuration).c_str(), 0644), 0);
  EXPECT_THAT(machine.found("configuration"),
              HasSubstr("problem: /mnt/main/tv/vod.conf contains a"));
}

TEST(ctl_doctor, machine_that_has_just_started_is_a_warning) {
  doctor_machine machine;
  machine.service.set_uptime(100);
  machine.start();
  spawn_options options;
  options.uptime_s = 100;
  options.stdout_path = machine.root.scratch("doctor.out");
  const pid_t pid = machine.root.spawn({"/usr/bin/qx_vod_ctl", "doctor"}, options);
  ASSERT_EQ(waitpid(pid, nullptr, 0), pid);
  EXPECT_THAT(read_file(options.stdout_path), HasSubstr("transcodes begin in "));
}

TEST(ctl_doctor, full_disk_is_a_problem) {
  doctor_machine machine;
  machine.start();
  machine.root.mount_small_disk("/mnt/main/tv/vod", 1U << 20U);
  EXPECT_THAT(machine.found("disk"), HasSubstr("problem: "));
}

TEST(ctl_doctor, folder_that_the_service_will_create_is_fine) {
  doctor_machine machine;
  EXPECT_THAT(machine.found("outputs"), HasSubstr("ok: /mnt/main/tv/vod/ does not exist yet"));
}

TEST(ctl_doctor, disk_that_is_not_mounted_is_a_warning) {
  doctor_machine machine;
  machine.root.run({"/bin/rmdir", "/mnt/main/tv"});
  EXPECT_THAT(machine.found("outputs"),
              HasSubstr("warning: /mnt/main/tv/vod/ does not exist, nor"));
}

TEST(ctl_doctor, queue_file_that_was_set_aside_is_a_warning) {
  doctor_machine machine;
  const std::string copy = "/mnt/main/tv/vod.queue.js.unreadable-20261122T013005Z";
  machine.root.write(copy, "{");
  const auto result = machine.ctl({"doctor"});
  EXPECT_THAT(result.out, HasSubstr("set aside: 1, the latest as " + copy));
  EXPECT_THAT(result.out, HasSubstr("qx_vod_ctl queue restore"));
}

TEST(ctl_doctor, damaged_queue_file_is_a_problem) {
  doctor_machine machine;
  machine.write_private("/mnt/main/tv/vod.queue.js", R"({"list": [{"entry)");
  EXPECT_THAT(machine.found("queue file"), HasSubstr("is damaged"));
}

TEST(ctl_doctor, media_folder_of_the_system_is_a_warning) {
  doctor_machine machine;
  machine.root.write("/mnt/main/tv/media.roots", "/etc\n");
  EXPECT_THAT(machine.found("media folders"), HasSubstr("warning: /etc in "));
}

TEST(ctl_doctor, remote_server_is_tested_with_the_password_on_no_command_line) {
  doctor_machine machine;
  machine.configure_server();
  machine.root.plan(tool::curl,
                    tool_plan().print("HTTP/1.1 404 Not Found\r\n\r\nX-comm-error:NOT FOUND\n"));
  machine.start();
  EXPECT_THAT(machine.found("gateway"), HasSubstr("ok: far.example answers"));
  const auto calls = machine.root.calls();
  ASSERT_EQ(calls.size(), 2U) << "the gateway and the FTP server";
  for (const auto& call : calls) {
    EXPECT_THAT(call.argv, Each(Not(HasSubstr(password))));
  }
  EXPECT_THAT(machine.everything, Not(HasSubstr(password)));
  EXPECT_EQ(machine.root.run({"/bin/sh", "-c", "ls -d /run/qx-vod-ctl-*"}).out, "");
}

TEST(ctl_doctor, unreachable_remote_server_is_a_problem) {
  doctor_machine machine;
  machine.configure_server();
  machine.root.plan(tool::curl, tool_plan().exit(7));
  machine.start();
  EXPECT_THAT(machine.found("gateway"), HasSubstr("far.example accepts no connections"));
  EXPECT_EQ(machine.status, 1);
}

TEST(ctl_doctor, without_a_remote_server_nothing_is_tested) {
  doctor_machine machine;
  machine.start();
  EXPECT_EQ(machine.found("gateway"), "");
  EXPECT_TRUE(machine.root.calls().empty());
}

TEST(ctl_doctor, signal_ends_a_test_of_the_remote_server_and_leaves_no_password) {
  doctor_machine machine;
  machine.configure_server();
  machine.root.plan(tool::curl, tool_plan().mark("asked").wait("never"));
  machine.start();
  const pid_t pid = machine.root.spawn({"/usr/bin/qx_vod_ctl", "doctor"});
  ASSERT_TRUE(machine.root.wait_for_mark("asked"));
  kill(pid, SIGTERM);
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
  EXPECT_EQ(machine.root.run({"/bin/sh", "-c", "ls -d /run/qx-vod-ctl-*"}).out, "");
}

TEST(ctl_doctor, fix_removes_the_files_of_killed_tools) {
  doctor_machine machine;
  const std::string among_vods = machine.root.path("/mnt/main/tv/vod/.qx-part-0123456789abcdef");
  const std::string thumbnail = machine.root.path("/mnt/main/tv/vod/.a.mp4.metadata/.qx-part-1");
  machine.root.write("/mnt/main/tv/vod/.qx-part-0123456789abcdef", "half");
  machine.root.write("/mnt/main/tv/vod/.a.mp4.metadata/.qx-part-1", "half");
  machine.root.write("/mnt/main/tv/vod/.a.mp4.metadata/metadata", "");
  machine.root.write("/mnt/main/tv/vod/.qx-part-used", "in use");
  const int used = open(machine.root.path("/mnt/main/tv/vod/.qx-part-used").c_str(), O_RDONLY);
  ASSERT_EQ(flock(used, LOCK_EX), 0);
  EXPECT_THAT(machine.found("left-over files"), HasSubstr("warning: 2 partial files"));
  EXPECT_EQ(access(among_vods.c_str(), F_OK), 0);
  EXPECT_THAT(machine.ctl({"doctor", "--fix"}).out, HasSubstr("removed 2 partial files"));
  EXPECT_NE(access(among_vods.c_str(), F_OK), 0);
  EXPECT_NE(access(thumbnail.c_str(), F_OK), 0);
  EXPECT_EQ(access(machine.root.path("/mnt/main/tv/vod/.qx-part-used").c_str(), F_OK), 0);
  EXPECT_EQ(machine.found("left-over files").substr(0, 2), "ok");
  close(used);
}

TEST(ctl_doctor, fix_removes_the_login_files_of_killed_uploads) {
  doctor_machine machine;
  machine.root.write("/run/qx-upload-killed/login", "pass secret");
  const std::string login = machine.root.path("/run/qx-upload-killed/login");
  EXPECT_THAT(machine.found("left-over logins"), HasSubstr("warning: 1 left by killed uploads"));
  EXPECT_EQ(access(login.c_str(), F_OK), 0);
  EXPECT_THAT(machine.ctl({"doctor", "--fix"}).out, HasSubstr("removed 1 left by killed uploads"));
  EXPECT_NE(access(login.c_str(), F_OK), 0);
  EXPECT_EQ(machine.found("left-over logins").substr(0, 2), "ok");
}

namespace {

constexpr const char* old_log = "/mnt/main/tv/vod/.gone.mp4.metadata/vod.log";

void make_older_than_a_day(const std::string& path) {
  const timespec then[2] = {{time(nullptr) - 90000, 0}, {time(nullptr) - 90000, 0}};
  EXPECT_EQ(utimensat(AT_FDCWD, path.c_str(), then, AT_SYMLINK_NOFOLLOW), 0) << path;
}

struct left_metadata_machine : doctor_machine {
  left_metadata_machine() {
    root.write(old_log, "=== t tool 1\n");
    root.write("/mnt/main/tv/vod/.gone.mp4.metadata/.transcode", "job id=1\n");
    root.write("/mnt/main/tv/vod/.gone.mp4.metadata/metadata.77.0.tmp", "file ty");
  }

  // Ages all that is in it, and the directory.
  void age() {
    const std::string folder = root.path("/mnt/main/tv/vod/.gone.mp4.metadata");
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      make_older_than_a_day(entry.path());
    }
    make_older_than_a_day(folder);
  }

  bool has_log() const { return access(root.path(old_log).c_str(), F_OK) == 0; }

  bool fix_keeps_it() {
    start();
    ctl({"doctor", "--fix"});
    return has_log();
  }
};

}  // namespace

TEST(ctl_doctor_left_metadata, is_removed_by_fix) {
  left_metadata_machine machine;
  machine.age();
  machine.start();
  EXPECT_THAT(machine.found("left-over metadata"), HasSubstr("warning: 1 directories"));
  EXPECT_TRUE(machine.has_log());
  EXPECT_THAT(machine.ctl({"doctor", "--fix"}).out, HasSubstr("removed 1 directories"));
  EXPECT_NE(access(machine.root.path("/mnt/main/tv/vod/.gone.mp4.metadata").c_str(), F_OK), 0);
}

TEST(ctl_doctor_left_metadata, stays_for_a_day) {
  left_metadata_machine machine;
  EXPECT_TRUE(machine.fix_keeps_it());
}

TEST(ctl_doctor_left_metadata, stays_next_to_its_video) {
  left_metadata_machine machine;
  machine.root.write("/mnt/main/tv/vod/gone.mp4", "film");
  machine.age();
  EXPECT_TRUE(machine.fix_keeps_it());
}

TEST(ctl_doctor_left_metadata, stays_with_anything_else_in_it) {
  left_metadata_machine machine;
  machine.root.write("/mnt/main/tv/vod/.gone.mp4.metadata/subtitles", "mine");
  machine.age();
  EXPECT_TRUE(machine.fix_keeps_it());
}

TEST(ctl_doctor_left_metadata, stays_with_a_link_in_it) {
  left_metadata_machine machine;
  const std::string summary = machine.root.path("/mnt/main/tv/vod/.gone.mp4.metadata/.transcode");
  ASSERT_EQ(unlink(summary.c_str()), 0);
  ASSERT_EQ(symlink("vod.log", summary.c_str()), 0);
  machine.age();
  EXPECT_TRUE(machine.fix_keeps_it());
}

TEST(ctl_doctor_left_metadata, of_a_job_is_removed_once_the_job_is_removed) {
  doctor_machine machine;
  machine.root.plan(tool::transcode, tool_plan().exit(1));
  machine.root.write_source("/mnt/media/clip.mpg");
  machine.start();
  const std::string id = machine.client.add_ready("/mnt/media/clip.mpg");
  const auto item = machine.client.wait_for_item(id, [](const json11::Json& now) {
    return now["transcode state"].string_value() == "cancelled";
  });
  const std::string output = std::filesystem::path(item["output file"].string_value()).filename();
  const std::string folder = machine.root.path("/mnt/main/tv/vod/." + output + ".metadata");
  const auto age = [&folder] {
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      make_older_than_a_day(entry.path());
    }
    make_older_than_a_day(folder);
  };
  age();
  machine.ctl({"doctor", "--fix"});
  EXPECT_TRUE(std::filesystem::exists(folder));
  ASSERT_EQ(machine.ctl({"remove", id}).status, 0);
  age();
  machine.ctl({"doctor", "--fix"});
  EXPECT_FALSE(std::filesystem::exists(folder));
}

TEST(ctl_doctor, run_by_another_user_says_what_that_user_cannot_see) {
  doctor_machine machine;
  machine.configure_server();
  machine.start();
  const auto result = machine.root.run({"/usr/bin/setpriv", "--reuid=65534", "--regid=65534",
                                        "--clear-groups", "/usr/bin/qx_vod_ctl", "doctor"});
  if (result.err.find("setpriv") != std::string::npos) { QX_SKIP_OR_FAIL_IN_CI(result.err); }
  EXPECT_THAT(result.out, HasSubstr("warning  user                not run as root"));
  EXPECT_THAT(result.out, HasSubstr("warning  service             this user may not connect to"));
  EXPECT_THAT(result.out, HasSubstr("vod.conf cannot be read: Permission denied"));
}
