// The command lines of the engines, and the interpretation of their errors.
#include <algorithm>
#include <cerrno>
#include <cstring>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/media/engine.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

std::string value_of(const argument_list& arguments, const std::string& option) {
  const auto found = std::find(arguments.begin(), arguments.end(), option);
  return found == arguments.end() || found + 1 == arguments.end() ? "" : found[1];
}

program_result failed_with(const std::string& errors) {
  program_result result;
  result.end = program_end::exited;
  result.exit_status = 1;
  result.errors = errors;
  return result;
}

}  // namespace

TEST(engine, that_did_not_end_by_itself_was_interrupted) {
  program_result result;
  for (const program_end end : {program_end::killed, program_end::not_started, program_end::stalled,
                                program_end::timed_out, program_end::tool_stopped}) {
    result.end = end;
    EXPECT_TRUE(is_interruption(result));
  }
  result.end = program_end::given_up;
  EXPECT_FALSE(is_interruption(result));
}

TEST(engine, that_failed_by_itself_was_not_interrupted) {
  EXPECT_FALSE(is_interruption(failed_with("Invalid data found when processing input")));
  EXPECT_FALSE(is_interruption(failed_with("No space left on device")));
}

TEST(engine, that_lacked_memory_or_could_not_read_was_interrupted) {
  EXPECT_TRUE(is_interruption(failed_with("x264: Cannot allocate memory\n")));
  EXPECT_TRUE(is_interruption(failed_with("file:a.ts: Input/output error\n")));
  EXPECT_TRUE(is_interruption(failed_with("file:a.ts: Stale file handle\n")));
}

TEST(engine, that_lost_a_server_or_a_disk_was_interrupted) {
  for (const int error : {EHOSTDOWN, EHOSTUNREACH, ENETDOWN, ENETUNREACH, ENOTCONN, ECONNRESET,
                          ECONNABORTED, ENODEV, ENXIO, EREMOTEIO, EKEYEXPIRED, EMFILE, ENFILE}) {
    const std::string line = std::string("file:a.ts: ") + std::strerror(error) + "\n";
    EXPECT_TRUE(is_interruption(failed_with(line))) << line;
  }
}

TEST(engine, that_wrote_lines_of_its_own_has_complained) {
  for (const char* line :
       {"[mp4 @ 0x55] Unable to re-open output file\n",
        "Error writing trailer of file:/proc/self/fd/5: Permission denied\n",
        "file:/proc/self/fd/5: Invalid argument\n", "x264: No space left on device\n",
        "av_interleaved_write_frame(): Input/output error\n"}) {
    EXPECT_TRUE(has_complained(failed_with(line))) << line;
  }
}

TEST(engine, whose_loader_wrote_a_line_has_not_complained) {
  EXPECT_FALSE(has_complained(failed_with("")));
  EXPECT_FALSE(has_complained(
      failed_with("ERROR: ld.so: object 'libfast.so' from /etc/ld.so.preload cannot be preloaded "
                  "(cannot open shared object file): ignored.\n")));
}

TEST(engine, that_was_asked_to_end_was_interrupted) {
  program_result result = failed_with("");
  result.exit_status = 255;
  EXPECT_TRUE(is_interruption(result));
}

TEST(engine, input_may_open_nothing_but_the_file) {
  argument_list arguments;
  add_input(arguments, "file:-a b.mp4");
  EXPECT_EQ(value_of(arguments, "-protocol_whitelist"), "file");
  EXPECT_THAT(value_of(arguments, "-format_whitelist"), testing::StartsWith("mov,mpegts,"));
  EXPECT_EQ(value_of(arguments, "-i"), "file:-a b.mp4");
  EXPECT_EQ(arguments.back(), "file:-a b.mp4");
}

TEST(engine, no_playlist_or_sequence_format_is_allowed) {
  argument_list arguments;
  add_input(arguments, "file:a");
  const std::string formats = "," + value_of(arguments, "-format_whitelist") + ",";
  for (const char* format : {"hls", "concat", "dash", "sdp", "rtsp", "image2", "tty", "lavfi"}) {
    EXPECT_THAT(formats, testing::Not(HasSubstr("," + std::string(format) + ",")));
  }
}

TEST(engine, input_is_bounded) {
  argument_list arguments;
  add_input(arguments, "file:a");
  EXPECT_EQ(value_of(arguments, "-max_streams"), "64");
  EXPECT_EQ(value_of(arguments, "-probesize"), "10000000");
  EXPECT_EQ(value_of(arguments, "-analyzeduration"), "10M");
  EXPECT_EQ(value_of(arguments, "-max_alloc"), "1073741824");
}

TEST(engine, a_named_demuxer_is_the_only_one_allowed) {
  argument_list arguments;
  add_input(arguments, "file:a", "png_pipe");
  EXPECT_EQ(value_of(arguments, "-format_whitelist"), "png_pipe");
  EXPECT_EQ(value_of(arguments, "-f"), "png_pipe");
}

TEST(engine, output_has_its_own_protocol_list_and_muxer) {
  argument_list arguments;
  add_output(arguments, "mp4", "file:out");
  EXPECT_THAT(arguments, ElementsAre("-f", "mp4", "-protocol_whitelist", "file", "-y", "file:out"));
}

TEST(engine, commands_are_silent_and_named_by_path) {
  EXPECT_EQ(ffmpeg_command().front(), "/usr/bin/ffmpeg");
  EXPECT_THAT(ffmpeg_command(), testing::IsSupersetOf({"-nostdin", "-nostats", "-hide_banner"}));
  EXPECT_EQ(value_of(ffmpeg_command(), "-loglevel"), "error");
  EXPECT_EQ(ffprobe_command().front(), "/usr/bin/ffprobe");
}

TEST(sniff_still, recognises_pictures_by_their_first_bytes) {
  EXPECT_EQ(sniff_still("\x89PNG\r\n\x1a\n...."), "png_pipe");
  EXPECT_EQ(sniff_still("\xff\xd8\xff\xe0"), "jpeg_pipe");
  EXPECT_EQ(sniff_still("GIF89a"), "gif");
  EXPECT_EQ(sniff_still("RIFF....WEBPVP8 "), "webp_pipe");
}

TEST(sniff_still, recognises_nothing_else) {
  EXPECT_EQ(sniff_still(""), "");
  EXPECT_EQ(sniff_still("\x89PN"), "");
  EXPECT_EQ(sniff_still("RIFF....WAVEfmt "), "");
}

TEST(engine_cause, is_the_message_about_the_file_without_its_name) {
  const std::string errors = "[mov] moov atom not found\nfile:a\nb.mp4: Invalid data found\n";
  EXPECT_EQ(engine_cause(failed_with(errors), "file:a\nb.mp4"), "Invalid data found");
}

TEST(engine_cause, is_the_first_message_about_the_file) {
  const std::string errors = "file:a: Invalid data found\nfile:a: Conversion failed!\n";
  EXPECT_EQ(engine_cause(failed_with(errors), "file:a"), "Invalid data found");
}

TEST(engine_cause, is_the_first_informative_line_if_the_file_is_not_named) {
  const std::string errors = "\n    Last message repeated 3 times\n[h264 @ 0x55] first\nlast\n";
  EXPECT_EQ(engine_cause(failed_with(errors), "file:a"), "first");
}

TEST(engine_cause, is_never_a_note_about_a_repeated_line) {
  EXPECT_EQ(engine_cause(failed_with("    Last message repeated 3 times\n"), "file:a"),
            "exit status 1");
  program_result killed = failed_with("[aac @ 0x1] damaged\n    Last message repeated 9 times\n");
  killed.end = program_end::killed;
  killed.message = "ended by Killed";
  EXPECT_EQ(engine_cause(killed, "file:a"), "ended by Killed: damaged");
}

TEST(engine_cause, is_the_machine_wide_problem_whatever_came_before) {
  const std::string errors = "[mpeg2video @ 0x55] ac-tex damaged at 1 2\nfile:a: corrupt frame\n"
                             "av_interleaved_write_frame(): No space left on device\n";
  EXPECT_EQ(engine_cause(failed_with(errors), "file:a"), "No space left on device");
}

TEST(engine_cause, names_an_unsupported_format_plainly) {
  const std::string errors = "[hls] Format not on whitelist 'mov'\nfile:a: Invalid argument\n";
  EXPECT_EQ(engine_cause(failed_with(errors), "file:a"),
            "is not audio or video of a supported kind");
}
