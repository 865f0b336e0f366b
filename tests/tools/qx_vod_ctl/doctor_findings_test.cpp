// The doctor's single judgements, and how findings are written.
#include <ctime>
#include <fstream>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utime.h>

#include <gmock/gmock.h>

#include "tests/platform/test_folder.h"
#include "tests/support/skip.h"
#include "tests/tools/client/scripted_service.h"
#include "tools/media/segment_folder.h"
#include "tools/media/size_text.h"
#include "tools/qx_vod_ctl/doctor/engine_parts.h"
#include "tools/qx_vod_ctl/doctor/engine_sandbox.h"
#include "tools/qx_vod_ctl/doctor/finding.h"
#include "tools/qx_vod_ctl/doctor/left_overs.h"
#include "tools/qx_vod_ctl/doctor/machine.h"
#include "tools/qx_vod_ctl/doctor/media_settings.h"
#include "tools/qx_vod_ctl/doctor/own_files.h"
#include "tools/qx_vod_ctl/doctor/programs.h"
#include "tools/qx_vod_ctl/doctor/service_findings.h"

using qx_test::test_folder;
using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

constexpr std::uint64_t gigabyte = 1000ULL * 1000 * 1000;

std::string made_file(const test_folder& folder, const std::string& name, mode_t mode,
                      const std::string& content = "") {
  std::string path = folder.path() + "/" + name;
  std::ofstream(path) << content;
  EXPECT_EQ(chmod(path.c_str(), mode), 0);
  return path;
}

finding_result disk(std::uint64_t free_bytes) {
  disk_room room;
  room.free_bytes = free_bytes;
  room.size_bytes = 1000 * gigabyte;
  return judge_disk_room("/x", room).result;
}

// The folder of a transcode of `source` that was killed more than a day ago.
std::string left_segments_of(const test_folder& folder, const std::string& source,
                             const std::string& number = "0") {
  std::string path = folder.path() + "/.qx-segments-" + number + "123456789abcdef";
  EXPECT_EQ(mkdir(path.c_str(), 0700), 0);
  struct stat status = {};
  stat(source.c_str(), &status);
  std::ofstream(path + "/source") << segment_source_text(source, status);
  std::ofstream(path + "/" + segment_lock_name);
  std::ofstream(path + "/v000000.mp4") << std::string(2020, 'v');
  const timespec old[2] = {{std::time(nullptr) - 100000, 0}, {std::time(nullptr) - 100000, 0}};
  EXPECT_EQ(utimensat(AT_FDCWD, path.c_str(), old, 0), 0);
  return path;
}

}  // namespace

TEST(ctl_doctor_output, findings_are_lines_with_results_and_totals) {
  EXPECT_EQ(findings_text({fine("disk", "wide"), warning("uptime", "short", "wait"),
                           problem("socket", "gone", "start it")},
                          false),
            "ok       disk                wide\n"
            "warning  uptime              short\n"
            "         -> wait\n"
            "problem  socket              gone\n"
            "         -> start it\n"
            "1 problem, 1 warning\n");
}

TEST(ctl_doctor_output, only_the_result_is_coloured) {
  EXPECT_EQ(findings_text({fine("disk", "wide")}, true),
            "\x1b[32mok\x1b[0m       disk                wide\nno problems, no warnings\n");
}

TEST(ctl_doctor_output, escape_sequences_of_files_do_not_reach_the_terminal) {
  EXPECT_THAT(findings_text({fine("disk", "\x1b[2J")}, false), HasSubstr("\\x1b[2J"));
}

TEST(ctl_doctor_output, json_has_four_keys_each) {
  EXPECT_EQ(findings_json({problem("a", "b", "c")}).dump(),
            R"([{"advice": "c", "check": "a", "result": "problem", "text": "b"}])");
}

TEST(ctl_doctor_output, warnings_are_not_problems) {
  EXPECT_FALSE(has_problem({warning("a", "b", "c")}));
  EXPECT_TRUE(has_problem({warning("a", "b", "c"), problem("a", "b", "c")}));
}

TEST(ctl_doctor_uptime, gate_opens_at_300_seconds) {
  EXPECT_EQ(judge_uptime(300).result, finding_result::ok);
  EXPECT_EQ(judge_uptime(299).result, finding_result::warning);
  EXPECT_THAT(judge_uptime(120).text, HasSubstr("transcodes begin in 180 s"));
}

TEST(ctl_doctor_disk, little_room_is_a_warning_and_none_a_problem) {
  EXPECT_EQ(disk(5 * gigabyte), finding_result::ok);
  EXPECT_EQ(disk(5 * gigabyte - 1), finding_result::warning);
  EXPECT_EQ(disk(gigabyte / 4), finding_result::warning);
  EXPECT_EQ(disk(gigabyte / 4 - 1), finding_result::problem);
}

TEST(ctl_doctor_disk, read_only_and_out_of_files_are_problems) {
  disk_room room;
  room.free_bytes = 100 * gigabyte;
  room.read_only = true;
  EXPECT_THAT(judge_disk_room("/x", room).text, HasSubstr("read-only"));
  room.read_only = false;
  room.out_of_files = true;
  EXPECT_THAT(judge_disk_room("/x", room).text, HasSubstr("out of inodes"));
}

TEST(ctl_doctor_disk, sizes_are_decimal) {
  EXPECT_EQ(size_text(999), "999 B");
  EXPECT_EQ(size_text(1500), "1.5 kB");
  EXPECT_EQ(size_text(999960), "1.0 MB");
  EXPECT_EQ(size_text(120 * gigabyte), "120.0 GB");
}

TEST(ctl_doctor_engine, needed_encoders_are_named) {
  EXPECT_EQ(judge_encoders(" V..... libx264   x\n A....D aac   x\n VFS..D mjpeg  x\n").result,
            finding_result::ok);
  const auto found = judge_encoders(" V..... libx264rgb   x\n VFS..D mjpeg   x\n");
  EXPECT_EQ(found.result, finding_result::problem);
  EXPECT_EQ(found.text, "ffmpeg has no encoder libx264, aac");
}

TEST(ctl_doctor_media_settings, that_are_missing_are_no_finding) {
  EXPECT_THAT(check_media_settings("/nowhere/media.conf"), IsEmpty());
}

TEST(ctl_doctor_media_settings, that_are_ignored_are_named) {
  const test_folder folder;
  const std::string path = made_file(folder, "media.conf", 0644, "hours = 3\n");
  const finding_list findings = check_media_settings(path);
  ASSERT_THAT(findings, SizeIs(1));
  EXPECT_EQ(findings[0].result, finding_result::warning);
  EXPECT_EQ(findings[0].text, path + ": line 1: unknown setting \"hours\"");
}

TEST(ctl_doctor_media_settings, that_are_right_are_fine) {
  const test_folder folder;
  const std::string path = made_file(folder, "media.conf", 0644, "length.max_hours = 3\n");
  const finding_list findings = check_media_settings(path);
  ASSERT_THAT(findings, SizeIs(1));
  EXPECT_EQ(findings[0].result, finding_result::ok);
}

TEST(ctl_doctor_sandbox, is_complete_with_filter_rules_and_account) {
  EXPECT_EQ(judge_sandbox({true, 3, true}, true, true).front().result, finding_result::ok);
  EXPECT_EQ(judge_sandbox({true, 3, false}, true, false).front().result, finding_result::ok);
}

TEST(ctl_doctor_sandbox, names_what_is_missing) {
  EXPECT_THAT(judge_sandbox({false, 3, true}, true, true).front().text, HasSubstr("seccomp"));
  EXPECT_THAT(judge_sandbox({true, 0, true}, true, true).front().text, HasSubstr("Landlock"));
  EXPECT_THAT(judge_sandbox({true, 3, false}, true, true).front().text, HasSubstr("runs as root"));
  EXPECT_EQ(judge_sandbox({true, 3, false}, true, true).front().result, finding_result::warning);
}

TEST(ctl_doctor_sandbox, names_everything_that_is_missing) {
  EXPECT_THAT(judge_sandbox({false, 0, false}, true, true), SizeIs(3));
}

TEST(ctl_doctor_sandbox, names_the_folder_whose_files_cannot_be_lent) {
  const finding_list findings = judge_sandbox({true, 3, true}, false, true);
  ASSERT_THAT(findings, SizeIs(1));
  EXPECT_EQ(findings[0].result, finding_result::warning);
  EXPECT_THAT(findings[0].text, HasSubstr("runs as root for results in /mnt/main/tv/vod/"));
}

TEST(ctl_doctor_sandbox, says_what_an_early_landlock_does_not_cover) {
  const finding_list findings = judge_sandbox({true, 2, true}, true, true);
  ASSERT_THAT(findings, SizeIs(1));
  EXPECT_EQ(findings[0].result, finding_result::ok);
  EXPECT_THAT(findings[0].text, HasSubstr("(version 2) does not cover truncation"));
}

TEST(ctl_doctor_engine, filters_for_high_dynamic_range_may_be_missing) {
  const std::string needed = " bwdif \n colorspace \n pad \n setparams \n fps \n scale \n setsar "
                             "\n format \n aresample \n crop \n"
                             " showwavespic \n overlay \n";
  EXPECT_EQ(judge_filters(needed).result, finding_result::warning);
  EXPECT_EQ(judge_filters(needed + " zscale \n tonemap \n").result, finding_result::ok);
  EXPECT_EQ(judge_filters(" scale \n").result, finding_result::problem);
}

TEST(ctl_doctor_program, missing_one_is_reported_with_the_consequence) {
  const auto found = check_program("/nowhere/qxmi_grab", "there are no thumbnails");
  EXPECT_EQ(found.check, "qxmi_grab");
  EXPECT_EQ(found.result, finding_result::problem);
  EXPECT_THAT(found.text, HasSubstr("No such file or directory; without it there are no thumb"));
}

TEST(ctl_doctor_program, one_without_execute_rights_is_a_problem) {
  const test_folder folder;
  const auto found = check_program(made_file(folder, "tool", 0644), "x");
  EXPECT_EQ(found.result, finding_result::problem);
  EXPECT_THAT(found.advice, HasSubstr("chmod 755"));
}

TEST(ctl_doctor_program, folder_in_its_place_is_a_problem) {
  const test_folder folder;
  EXPECT_EQ(check_program(folder.path(), "x").result, finding_result::problem);
}

TEST(ctl_doctor_program, one_that_others_may_change_is_a_problem) {
  const test_folder folder;
  const auto found = check_program(made_file(folder, "tool", 0757), "x");
  EXPECT_EQ(found.result, finding_result::problem);
  EXPECT_THAT(found.text, HasSubstr("can be changed by everybody"));
}

TEST(ctl_doctor_folder, file_in_its_place_is_a_problem) {
  const test_folder folder;
  const std::string file = made_file(folder, "vod", 0644);
  EXPECT_EQ(check_folder({"outputs", file.c_str(), true}).result, finding_result::problem);
}

TEST(ctl_doctor_folder, shared_folder_that_is_closed_is_a_warning) {
  const test_folder folder;
  ASSERT_EQ(chmod(folder.path().c_str(), 0755), 0);
  const auto closed = check_folder({"outputs", folder.path().c_str(), true});
  EXPECT_THAT(closed.text, HasSubstr("has mode 0755"));
  ASSERT_EQ(chmod(folder.path().c_str(), 0777), 0);
  EXPECT_EQ(check_folder({"outputs", folder.path().c_str(), true}).result, finding_result::ok);
}

TEST(ctl_doctor_folder, root_s_folder_that_is_open_is_a_warning) {
  const test_folder folder;
  ASSERT_EQ(chmod(folder.path().c_str(), 0777), 0);
  const auto found = check_folder({"settings", folder.path().c_str(), false});
  EXPECT_EQ(found.result, finding_result::warning);
  EXPECT_THAT(found.text, HasSubstr("everybody"));
}

TEST(ctl_doctor_queue_file, missing_or_valid_one_is_fine) {
  const test_folder folder;
  EXPECT_EQ(check_queue_file("/nowhere/q", false).result, finding_result::ok);
  const std::string file = made_file(folder, "q", 0600, R"({"list": [{}, {}]})");
  if (geteuid() != 0) { QX_SKIP_OR_FAIL_IN_CI("a file of another user is a problem of its own"); }
  EXPECT_THAT(check_queue_file(file, true).text, HasSubstr(", 2 jobs"));
}

TEST(ctl_doctor_queue_file, damaged_one_is_a_problem) {
  const test_folder folder;
  if (geteuid() != 0) { QX_SKIP_OR_FAIL_IN_CI("a file of another user is a problem of its own"); }
  EXPECT_THAT(check_queue_file(made_file(folder, "q", 0600, R"({"list": [{)"), false).text,
              HasSubstr("is damaged"));
}

TEST(ctl_doctor_queue_file, one_that_others_read_may_hold_the_password) {
  const test_folder folder;
  if (geteuid() != 0) { QX_SKIP_OR_FAIL_IN_CI("a file of another user is a problem of its own"); }
  const std::string file = made_file(folder, "q", 0644, R"({"list": []})");
  EXPECT_EQ(check_queue_file(file, true).result, finding_result::warning);
  EXPECT_EQ(check_queue_file(file, false).result, finding_result::ok);
}

TEST(ctl_doctor_queue_file, one_readable_by_the_group_of_its_folder_is_fine) {
  const test_folder folder;
  if (geteuid() != 0) { QX_SKIP_OR_FAIL_IN_CI("a file of another user is a problem of its own"); }
  const std::string file = made_file(folder, "q", 0640, R"({"list": []})");
  EXPECT_EQ(check_queue_file(file, true).result, finding_result::ok);
  ASSERT_EQ(chown(file.c_str(), 0, 12345), 0);
  EXPECT_EQ(check_queue_file(file, true).result, finding_result::warning);
  ASSERT_EQ(chown(folder.path().c_str(), 0, 12345), 0);
  EXPECT_EQ(check_queue_file(file, true).result, finding_result::ok);
}

TEST(ctl_doctor_queue_file, fifo_in_its_place_is_reported_at_once) {
  const test_folder folder;
  const std::string fifo = folder.path() + "/q";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  EXPECT_THAT(check_queue_file(fifo, false).text, HasSubstr("is not a regular file"));
}

TEST(ctl_doctor_queue_file, old_unfinished_one_is_a_warning) {
  const test_folder folder;
  const std::string file = made_file(folder, "q.tmp", 0600);
  EXPECT_THAT(check_unfinished_queue(file), IsEmpty());
  const utimbuf hour_ago = {std::time(nullptr) - 3600, std::time(nullptr) - 3600};
  ASSERT_EQ(utime(file.c_str(), &hour_ago), 0);
  EXPECT_THAT(check_unfinished_queue(file), SizeIs(1));
}

TEST(ctl_doctor_media_folders, each_listed_one_is_judged) {
  const test_folder folder;
  if (geteuid() != 0) { QX_SKIP_OR_FAIL_IN_CI("a file of another user is a problem of its own"); }
  const std::string list = made_file(folder, "roots", 0644, "# archive\n/mnt/nowhere/at all/\n");
  const auto findings = check_media_roots(list);
  ASSERT_THAT(findings, SizeIs(1));
  EXPECT_EQ(findings[0].result, finding_result::warning);
  EXPECT_THAT(findings[0].text, HasSubstr("/mnt/nowhere/at all: No such file"));
}

TEST(ctl_doctor_media_folders, list_that_is_a_link_is_reported_as_ignored) {
  const test_folder folder;
  made_file(folder, "list", 0644, "/mnt\n");
  const std::string link = folder.path() + "/roots";
  ASSERT_EQ(symlink("list", link.c_str()), 0);
  const auto findings = check_media_roots(link);
  ASSERT_THAT(findings, SizeIs(1));
  EXPECT_EQ(findings[0].result, finding_result::warning);
  EXPECT_THAT(findings[0].text, HasSubstr("is a symbolic link"));
}

TEST(ctl_doctor_media_folders, list_that_others_may_write_is_a_problem) {
  const test_folder folder;
  const auto findings = check_media_roots(made_file(folder, "roots", 0666));
  ASSERT_THAT(findings, SizeIs(1));
  EXPECT_EQ(findings[0].result, finding_result::problem);
}

TEST(ctl_doctor_socket, missing_one_means_that_the_service_does_not_run) {
  scripted_service service([](const std::string&, const name_values&) {
    return refused(exit_no_service, "no service");
  });
  const auto findings = check_service(service, "/nowhere/socket");
  ASSERT_THAT(findings, SizeIs(1));
  EXPECT_EQ(findings[0].result, finding_result::problem);
  EXPECT_THAT(findings[0].advice, HasSubstr("start qx_vod_service"));
}

TEST(ctl_doctor_socket, file_in_its_place_is_a_problem) {
  const test_folder folder;
  EXPECT_THAT(check_socket(made_file(folder, "s", 0755)).text, HasSubstr("is not a socket"));
}

TEST(ctl_doctor_process, older_than_the_configuration_should_be_restarted) {
  service_process process;
  process.started = 1000;
  text_file configuration;
  configuration.status.st_mtim.tv_sec = 1001;
  EXPECT_THAT(judge_process(process, configuration), SizeIs(1));
  configuration.status.st_mtim.tv_sec = 1000;
  EXPECT_THAT(judge_process(process, configuration), IsEmpty());
}

TEST(ctl_doctor_process, replaced_program_should_be_restarted) {
  service_process process;
  process.executable = "/usr/sbin/qx_vod_service";
  process.replaced = true;
  EXPECT_THAT(judge_process(process, text_file()), SizeIs(1));
}

TEST(ctl_doctor_segments, that_can_be_resumed_are_counted_and_stay) {
  const test_folder folder;
  const std::string left = left_segments_of(folder, made_file(folder, "film.mpg", 0644, "film"));
  const finding found = check_left_segments(folder.path(), true, 7);
  EXPECT_EQ(found.result, finding_result::ok);
  EXPECT_EQ(found.text,
            "of 1 interrupted transcode, 2.1 kB, that can be resumed, in " + folder.path());
  EXPECT_EQ(access(left.c_str(), F_OK), 0);
}

TEST(ctl_doctor_segments, of_a_source_that_is_gone_are_removed_by_fix) {
  const test_folder folder;
  const std::string left = left_segments_of(folder, folder.path() + "/gone.mpg");
  EXPECT_EQ(check_left_segments(folder.path(), false, 7).result, finding_result::warning);
  EXPECT_EQ(access(left.c_str(), F_OK), 0);
  EXPECT_THAT(
      check_left_segments(folder.path(), true, 7).text,
      HasSubstr("removed those of 1 interrupted transcode, 2.1 kB, that will not be resumed, in "));
  EXPECT_NE(access(left.c_str(), F_OK), 0);
  EXPECT_THAT(check_left_segments(folder.path(), false, 7).text, HasSubstr("none in "));
}

TEST(ctl_doctor_segments, of_both_kinds_are_counted_apart) {
  const test_folder folder;
  left_segments_of(folder, folder.path() + "/gone.mpg");
  left_segments_of(folder, made_file(folder, "film.mpg", 0644, "film"), "1");
  for (const bool fix : {false, true}) {
    EXPECT_THAT(check_left_segments(folder.path(), fix, 7).text,
                ContainsRegex("of 1 interrupted transcode, .* will not be resumed, in .*; "
                              "of 1 interrupted transcode, .* can be resumed, in "));
  }
}

TEST(ctl_doctor_segments, that_can_be_resumed_make_room_on_a_full_disk) {
  const test_folder folder;
  const std::string left = left_segments_of(folder, made_file(folder, "film.mpg", 0644, "film"));
  const std::string words =
      "of 1 interrupted transcode, 2.1 kB, for which the disk has too little room";
  const finding found = check_left_segments(folder.path(), false, 7, true);
  EXPECT_EQ(found.result, finding_result::warning);
  EXPECT_THAT(found.text, HasSubstr(words));
  EXPECT_EQ(access(left.c_str(), F_OK), 0);
  EXPECT_THAT(check_left_segments(folder.path(), true, 7, true).text,
              HasSubstr("removed those " + words));
  EXPECT_NE(access(left.c_str(), F_OK), 0);
}

TEST(ctl_doctor_segments, in_use_are_left_alone) {
  const test_folder folder;
  const std::string left = left_segments_of(folder, folder.path() + "/gone.mpg");
  const int lock = open((left + "/lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_EQ(flock(lock, LOCK_EX), 0);
  for (const bool is_disk_full : {false, true}) {
    EXPECT_THAT(check_left_segments(folder.path(), true, 7, is_disk_full).text,
                HasSubstr("none in "));
  }
  EXPECT_EQ(access(left.c_str(), F_OK), 0);
  close(lock);
}
