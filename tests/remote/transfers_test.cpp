// Upload and download: progress and outcomes.
#include <csignal>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include "platform/unique_fd.h"
#include "tests/remote/remote_bench.h"
#include "tests/support/files.h"

using namespace qx_test;

namespace {

int progress_of(const json11::Json& item) {
  return item["transcode progress"][0].int_value();
}

constexpr long mebibyte = 1L << 20;

TEST_F(remote_bench, upload_progress_is_the_position_of_the_ftp_client) {
  machine.root.write("/mnt/media/clip.ts", std::string(10 * mebibyte, 'x'));
  machine.root.plan(tool::upload, tool_plan().wait("go"));
  machine.root.plan(tool::ncftpput,
                    tool_plan().hold("/mnt/media/clip.ts", 3 * mebibyte + 5).wait("go"));
  begin();
  machine.root.wait_for_call(tool::upload);
  machine.root.spawn({"/usr/bin/ncftpput"});
  machine.client.wait_for_progress(id, 3000);
  machine.root.release("go");
}

TEST_F(remote_bench, source_of_one_mebibyte_shows_no_upload_progress) {
  machine.root.write("/mnt/media/clip.ts", std::string(mebibyte, 'x'));
  machine.root.plan(tool::upload, tool_plan().wait("go"));
  machine.root.plan(tool::ncftpput, tool_plan().hold("/mnt/media/clip.ts", mebibyte).wait("go"));
  begin();
  machine.root.wait_for_call(tool::upload);
  machine.root.spawn({"/usr/bin/ncftpput"});
  machine.root.wait_for_call(tool::ncftpput);
  // Long enough for the service to look at least twice.
  EXPECT_FALSE(wait_until([&] { return progress_of(machine.client.item(id)) != 0; },
                          std::chrono::milliseconds(1500)));
  EXPECT_EQ(machine.client.state_text(id), "Uploading file to remote for transcode");
  machine.root.release("go");
}

TEST_F(remote_bench, source_of_one_byte_more_shows_upload_progress) {
  machine.root.write("/mnt/media/clip.ts", std::string(mebibyte + 1, 'x'));
  machine.root.plan(tool::upload, tool_plan().wait("go"));
  machine.root.plan(tool::ncftpput, tool_plan().hold("/mnt/media/clip.ts", mebibyte).wait("go"));
  begin();
  machine.root.wait_for_call(tool::upload);
  machine.root.spawn({"/usr/bin/ncftpput"});
  machine.client.wait_for_progress(id, 10000);
  machine.root.release("go");
}

TEST_F(remote_bench, upload_progress_follows_the_furthest_client) {
  machine.root.write("/mnt/media/clip.ts", std::string(10 * mebibyte, 'x'));
  machine.root.plan(tool::upload, tool_plan().wait("go"));
  begin();
  machine.root.wait_for_call(tool::upload);
  int calls = 0;
  for (const long position : {2, 6, 4}) {
    machine.root.plan_call(tool::ncftpput, ++calls,
                           tool_plan().hold("/mnt/media/clip.ts", position * mebibyte).wait("go"));
  }
  for (int call = 1; call <= calls; ++call) {
    machine.root.spawn({"/usr/bin/ncftpput"});
    machine.root.wait_for_call(tool::ncftpput, call);
  }
  machine.client.wait_for_progress(id, 6000);
  EXPECT_FALSE(wait_until([&] { return progress_of(machine.client.item(id)) != 6000; },
                          std::chrono::milliseconds(1500)));
  machine.root.release("go");
}

struct upload_case {
  const char* name;
  tool_plan plan;

  friend void PrintTo(const upload_case& row, std::ostream* out) { *out << row.name; }
};

class failed_upload : public remote_bench, public testing::WithParamInterface<upload_case> {};

TEST_P(failed_upload, cancels) {
  machine.root.plan(tool::upload, GetParam().plan);
  begin();
  wait_for_text("Unable to send file to remote");
  machine.client.wait_for_transcode_state(id, "cancelled");
}

INSTANTIATE_TEST_SUITE_P(rows, failed_upload,
                         testing::Values(upload_case{"exit", tool_plan().exit(1)},
                                         upload_case{"signal", tool_plan().die(SIGKILL)}),
                         [](const auto& row) { return row.param.name; });

TEST_F(remote_bench, upload_that_cannot_start_cancels) {
  machine.root.plan(tool::upload, tool_plan().wait("go"));
  begin();
  machine.root.wait_for_call(tool::upload);
  machine.root.write_source("/mnt/media/second.ts", "video/mp2t");
  std::string const second =
      machine.client.add_ready("/mnt/media/second.ts", {{"transcode profile", "720"}});
  machine.client.wait_for_transcode_state(second, "remote transcode");
  ASSERT_EQ(machine.root.run({"/usr/bin/mv", "/mnt/media/second.ts", "/mnt/media/gone.ts"}).status,
            0);
  machine.root.release("go");
  machine.client.wait_for_state_text(second, "Unable to begin remote transcode upload");
}

TEST_F(remote_bench, uploaded_source_is_not_sent_again_after_a_restart) {
  machine.root.plan("curl.add", tool_plan().wait("go"));
  begin();
  machine.root.wait_for_call("curl.add");
  machine.service.restart();
  machine.root.wait_for_call("curl.add", 2);
  EXPECT_EQ(machine.root.calls(tool::upload).size(), 1U);
  EXPECT_TRUE(machine.client.item(id)["uploaded"].bool_value());
}

TEST_F(remote_bench, uploaded_source_is_not_sent_again_after_a_failed_add) {
  machine.root.plan("curl.add", tool_plan().exit(7));
  begin();
  machine.client.wait_for_transcode_state(id, "cancelled");
  ASSERT_TRUE(machine.client.item(id)["uploaded"].bool_value());
  ASSERT_EQ(machine.client.item(id)["remote job"]["entry id"].string_value(), "");
  machine.root.plan("curl.add", replies(added()));
  machine.client.command("restart", id);
  machine.root.wait_for_call("curl.list");
  EXPECT_EQ(machine.root.calls("curl.add").size(), 2U);
  EXPECT_EQ(machine.root.calls(tool::upload).size(), 1U);
}

class download : public remote_bench {
protected:
  void begin_download(const tool_plan& plan) {
    machine.root.plan(tool::wget, plan);
    far_state("done");
    begin();
  }
};

TEST_F(download, progress_is_read_from_the_dots) {
  begin_download(tool_plan()
                     .print_error("  3150K .......... .......... .......... .......... ..........  "
                                  "2% 1.21M 1m40s\n")
                     .wait("go"));
  machine.client.wait_for_progress(id, 200);
  EXPECT_TRUE(machine.service.wait_for_stderr("STDOUT WGET:   3150K .........."));
}

struct dot_case {
  const char* name;
  const char* line;
  int progress;

  friend void PrintTo(const dot_case& row, std::ostream* out) { *out << row.name; }
};

class download_progress : public download, public testing::WithParamInterface<dot_case> {};

// A line with 33% before it and one with 77% after it show when it has been read.
TEST_P(download_progress, follows_the_line) {
  begin_download(tool_plan()
                     .print("1K .. 33%\n")
                     .wait("line")
                     .print(std::string(GetParam().line) + "\nend of line\n")
                     .wait("go"));
  machine.client.wait_for_progress(id, 3300);
  machine.root.release("line");
  ASSERT_TRUE(machine.service.wait_for_stderr("STDOUT WGET: end of line\n"));
  EXPECT_EQ(progress_of(machine.client.item(id)), GetParam().progress);
}

INSTANTIATE_TEST_SUITE_P(lines, download_progress,
                         testing::Values(dot_case{"dots", "  1200K .......... 45%", 4500},
                                         dot_case{"above", "  1200K .......... 150%", 10000},
                                         dot_case{"little_above", "1K . 103%", 10000},
                                         dot_case{"far_above", "1K . 99999999999999999999%", 10000},
                                         dot_case{"alone", "45%", 3300},
                                         dot_case{"no_percent", "1200K .... 45", 3300},
                                         dot_case{"carriage_return", "1K .. 12%\r", 1200},
                                         dot_case{"commas", "1200K ,,,,, ..... 45%", 4500},
                                         dot_case{"words", "Connecting to far... 45%", 3300}),
                         [](const auto& row) { return row.param.name; });

struct end_case {
  const char* name;
  tool_plan plan;
  const char* text;

  friend void PrintTo(const end_case& row, std::ostream* out) { *out << row.name; }
};

class failed_download : public download, public testing::WithParamInterface<end_case> {};

TEST_P(failed_download, cancels_with_its_text) {
  begin_download(GetParam().plan);
  wait_for_text(GetParam().text);
  machine.client.wait_for_transcode_state(id, "cancelled");
}

INSTANTIATE_TEST_SUITE_P(
    rows, failed_download,
    testing::Values(
        end_case{"signal", tool_plan().die(SIGKILL), "Remote item: download failed"},
        end_case{"network", tool_plan().exit(4), "Remote item: download failed. Network error"},
        end_case{"protocol", tool_plan().exit(7), "Remote item: download failed. Protocol error"},
        end_case{"other", tool_plan().exit(8), "Remote item: download failed. Error code 8"}),
    [](const auto& row) { return row.param.name; });

TEST_F(download, of_an_item_without_output_cancels) {
  far_reply reply;
  reply.body = std::string("{\"entry id\": \"") + far_id +
               "\", \"input file\": \"/mnt/x/y\", \"transcode state\": \"done\"}";
  machine.root.plan("curl.list", replies(reply));
  begin();
  wait_for_text("Unable to download remote finished transcode");
}

TEST_F(download, that_fails_after_the_users_cancel_keeps_the_users_text) {
  begin_download(tool_plan().catch_signal(SIGTERM).mark("on").wait("go").exit(4));
  ASSERT_TRUE(machine.root.wait_for_mark("on"));
  EXPECT_EQ(machine.client.command("cancel", id).status(), "OK");
  machine.root.release("go");
  machine.client.wait_for_transcode_state(id, "cancelled");
  EXPECT_EQ(machine.client.state_text(id), "Cancelled by user");
}

// Much more than the service's buffer at once, as on a fast network.
TEST_F(download, continues_when_its_lines_come_fast) {
  std::string lines;
  while (lines.size() < 1000000) {
    lines += " 1200K .......... .......... .......... .......... .......... 45% 120M 1s\n";
  }
  begin_download(tool_plan().print_error(lines + " 1250K .......... 77%\n").wait("go"));
  machine.client.wait_for_progress(id, 7700);
}

TEST_F(download, drops_a_line_longer_than_its_buffer) {
  begin_download(tool_plan()
                     .print_error(std::string(100000, 'x') + "\n 1200K .......... 45%\n")
                     .wait("go")
                     .write("{--output-document}", "mp4"));
  machine.client.wait_for_progress(id, 4500);
  machine.root.release("go");
  machine.client.wait_for_transcode_state(id, "done");
}

// The download tool's output for a file of this many bytes.
std::string size_line(int bytes) {
  return "==> TYPE I ... done.  ==> CWD (1) /mnt/main/tv/vod ... done.\n==> SIZE far ... 1.mp4 "
         "... " +
         std::to_string(bytes) + "\n==> PASV ... done.    ==> RETR far ... 1.mp4 ... done.\n";
}

struct size_case {
  const char* name;
  const char* document;  // in addition to the keys of any remote item
  std::string printed;
  const char* state;

  friend void PrintTo(const size_case& row, std::ostream* out) { *out << row.name; }
};

class download_size : public download, public testing::WithParamInterface<size_case> {};

// The tool reports success with three bytes.
TEST_P(download_size, decides_whether_it_counts) {
  machine.root.plan(
      tool::wget, tool_plan().print_error(GetParam().printed).write("{--output-document}", "mp4"));
  far_state("done", GetParam().document);
  begin();
  const auto item = machine.client.wait_for_transcode_state(id, GetParam().state);
  if (std::string(GetParam().state) == "cancelled") {
    EXPECT_EQ(item["state"].string_value(), "Remote item: download failed. Wrong size");
    EXPECT_FALSE(exists(machine.root.path(item["output file"].string_value())));
  }
}

INSTANTIATE_TEST_SUITE_P(
    rows, download_size,
    testing::Values(size_case{"of_the_ftp_server", "", size_line(3), "done"},
                    size_case{"of_the_document", ", \"output size\": 3", "", "done"},
                    size_case{"of_no_number", ", \"output size\": \"4\"", size_line(3), "done"},
                    size_case{"of_no_file", ", \"output size\": 1e300", size_line(3), "done"},
                    size_case{"below_nothing", ", \"output size\": -4", size_line(3), "done"},
                    size_case{"larger_on_the_ftp_server", "", size_line(4), "cancelled"},
                    size_case{"smaller_on_the_ftp_server", "", size_line(2), "cancelled"},
                    size_case{"another_in_the_document", ", \"output size\": 5", size_line(3),
                              "cancelled"}),
    [](const auto& row) { return row.param.name; });

// The file at the output path when a download starts, because the tool would continue it.
class download_start : public download {
protected:
  // A first attempt that leaves an unfinished file.
  void begin_with_broken_download(const std::string& left) {
    begin_download(tool_plan().write("{--output-document}", left).exit(4));
    const auto item = machine.client.wait_for_transcode_state(id, "cancelled");
    output = item["output file"].string_value();
    ASSERT_EQ(machine.root.read(output), left);
  }
  void lose_job() {
    far_reply lost;
    lost.status = "404 Not Found";
    lost.comm_headers = "X-comm-error:NOT FOUND\n";
    machine.root.plan("curl.list", replies(lost));
    machine.client.command("restart", id);
    wait_for_text("Remote item: lost track of the item");
  }
  // The file that exists when the tool is run again; the tool then waits until the test ends.
  std::string found_by_next_run(const char* more = "") {
    machine.root.plan(tool::wget, tool_plan().wait("go"));
    far_state("done", more);
    machine.client.command("restart", id);
    machine.root.wait_for_call(tool::wget, 2);
    return machine.root.read(output);
  }

  std::string output;
};

TEST_F(download_start, of_a_lost_and_repeated_job_finds_nothing) {
  begin_with_broken_download("half");
  lose_job();
  EXPECT_EQ(machine.root.read(output), "half");
  EXPECT_EQ(found_by_next_run(), "");
}

TEST_F(download_start, of_a_remotely_restarted_job_finds_nothing) {
  begin_with_broken_download("half");
  machine.root.plan("curl.restart", replies(added()));
  far_state("cancelled");
  machine.client.command("restart", id);
  wait_for_text("Transcode was cancelled remotely. far text");
  EXPECT_EQ(found_by_next_run(), "");
}

TEST_F(download_start, of_the_same_remote_job_finds_the_partial_file) {
  begin_with_broken_download("half");
  EXPECT_EQ(found_by_next_run(", \"output size\": 4"), "half");
}

TEST_F(download_start, never_finds_a_file_larger_than_the_result) {
  begin_with_broken_download("too much");
  EXPECT_EQ(found_by_next_run(", \"output size\": 7"), "");
}

TEST_F(download_start, of_a_new_remote_job_does_not_follow_a_link) {
  begin_with_broken_download("half");
  lose_job();
  machine.root.write("/mnt/main/tv/vod/kept.mp4", "kept");
  ASSERT_EQ(machine.root.run({"/usr/bin/ln", "-sf", "kept.mp4", output}).status, 0);
  EXPECT_EQ(found_by_next_run(), "");
  EXPECT_EQ(machine.root.read("/mnt/main/tv/vod/kept.mp4"), "kept");
}

TEST_F(download_start, of_the_same_remote_job_does_not_follow_a_link_either) {
  begin_with_broken_download("half");
  machine.root.write("/mnt/main/tv/vod/kept.mp4", "kept");
  ASSERT_EQ(machine.root.run({"/usr/bin/ln", "-sf", "kept.mp4", output}).status, 0);
  EXPECT_EQ(found_by_next_run(), "");
  EXPECT_EQ(machine.root.run({"/usr/bin/test", "-L", output}).status, 1);
  EXPECT_EQ(machine.root.read("/mnt/main/tv/vod/kept.mp4"), "kept");
}

TEST_F(download_start, does_not_continue_a_file_that_has_a_second_name) {
  begin_with_broken_download("half");
  ASSERT_EQ(machine.root.run({"/usr/bin/ln", output, "/mnt/main/tv/vod/kept.mp4"}).status, 0);
  EXPECT_EQ(found_by_next_run(), "");
  EXPECT_EQ(machine.root.read("/mnt/main/tv/vod/kept.mp4"), "half");
}

TEST_F(download_start, does_not_continue_a_file_of_another_account) {
  begin_with_broken_download("half");
  ASSERT_EQ(machine.root.run({"/usr/bin/chown", "1", output}).status, 0);
  EXPECT_EQ(found_by_next_run(), "");
}

// A lease of another process lets nobody open the file without waiting.
TEST_F(download_start, keeps_a_partial_file_that_cannot_be_opened_at_the_moment) {
  begin_with_broken_download("half");
  signal(SIGIO, SIG_IGN);  // the request to give up the lease
  const unique_fd leased(open(machine.root.path(output).c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_EQ(fcntl(leased.get(), F_SETLEASE, F_WRLCK), 0) << strerror(errno);
  machine.root.plan(tool::wget, tool_plan().wait("go"));
  far_state("done");
  machine.client.command("restart", id);
  machine.root.wait_for_call(tool::wget, 2);
  char kept[5] = "";
  EXPECT_EQ(pread(leased.get(), kept, 4, 0), 4);
  EXPECT_STREQ(kept, "half");
  EXPECT_TRUE(exists(machine.root.path(output)));
}

TEST_F(download, whose_output_was_replaced_by_a_link_fails) {
  begin_download(tool_plan().wait("go").exit(0));
  machine.root.wait_for_call(tool::wget);
  const auto output = machine.client.item(id)["output file"].string_value();
  machine.root.write("/mnt/main/tv/vod/kept.mp4", "kept");
  ASSERT_EQ(machine.root.run({"/usr/bin/ln", "-sf", "kept.mp4", output}).status, 0);
  machine.root.release("go");
  wait_for_text("Remote item: download failed. The output was replaced");
  EXPECT_EQ(machine.root.run({"/usr/bin/test", "-L", output}).status, 1);
  EXPECT_EQ(machine.root.read("/mnt/main/tv/vod/kept.mp4"), "kept");
}

TEST_F(download, completes_the_job) {
  begin_download(tool_plan().write("{--output-document}", "mp4"));
  const auto item = machine.client.wait_for_transcode_state(id, "done");
  EXPECT_EQ(progress_of(item), 10000);
  EXPECT_EQ(item["state"].string_value(), "Transcode complete");
  EXPECT_EQ(machine.root.read(item["output file"].string_value()), "mp4");
}

}  // namespace
