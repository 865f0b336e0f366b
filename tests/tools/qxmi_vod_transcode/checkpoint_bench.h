// Transcodes in short segments, disturbed and compared with an undisturbed one.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/media/tool_run.h"

namespace qx_test {

// A packet of a result: time of presentation and of decoding, duration, flags; without its size,
// which differs from encode to encode.
std::vector<std::string> packet_times(const std::string& path, const std::string& stream);

// Replaces the bytes of a file from there on.
void overwrite(const std::string& path, std::streamoff at, const std::string& bytes);

// The processes that this one has started, and the words of a process, separated by blanks; empty
// once it has ended.
std::vector<pid_t> children_of(pid_t pid);
std::string command_line_of(pid_t pid);

class checkpoint_bench : public testing::Test {
protected:
  checkpoint_bench();

  // The settings of the tools that are started from now on.
  void configure(const std::string& lines) const;

  // The tool at work on the source; with `slowly`, within so little of the machine that it does not
  // end meanwhile.
  std::vector<std::string> arguments() const;
  std::vector<std::string> slowly() const;

  // Starts a tool, waits until `count` segments are finished, and ends its group by `signal`.
  void interrupt_after(std::size_t count, int signal) const;
  // The same within more of the machine, for films of many segments, and by SIGKILL.
  void interrupt_with(std::size_t count) const;
  tool_result resume() const { return run_tool("qxmi_vod_transcode", arguments()); }

  // Waits for an engine of the tool with `words` in its command line, and stops it, so that it does
  // not end by itself; -1 if the tool ends first.
  static pid_t caught_engine(const tool_run& run, const std::string& words);

  // Ends the first engine with `words` in its command line by SIGKILL, and waits for the failure
  // of the tool.
  void expect_failure_without_engine(const std::string& words) const;

  // The folder with segments; empty if there is none. And a file in it.
  std::string segment_folder() const;
  std::string in_folder(const std::string& name) const { return segment_folder() + "/" + name; }
  std::size_t finished() const;

  // The frame that the first line of progress names.
  static long first_frame(const tool_result& result);

  // Expects that the tool took over at least `segments` finished ones, and kept them.
  static void expect_resumed(const tool_result& result, long segments);

  // Uses a recording of such pieces, each of so many seconds and channels of sound. Where their
  // number changes, the time stamps of the output's sound jump.
  struct piece {
    double seconds;
    int channels;
  };
  void use_pieces(const std::vector<piece>& pieces);

  // Expects a good end, nothing but the result in the folder, and in it every picture and every
  // packet of sound, which can be decoded.
  void expect_whole(const tool_result& result) const;
  // Expects of the result the times and flags of packets that a transcode in one piece has, and
  // pictures and sound that are like those.
  void expect_as_in_one_piece() const;
  // The same, and the very same packets of sound.
  void expect_same_sound_as_in_one_piece() const;

  scratch_folder folder;    // of the result
  scratch_folder settings;  // of the settings
  std::string source;
  std::string output = folder.file("out.mp4");
};

}  // namespace qx_test
