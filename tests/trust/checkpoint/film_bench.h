// A film of one kind, what an undisturbed transcode makes of it, and a folder in which transcodes
// of it are disturbed.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "tests/support/checkpoint/stepped_tool.h"
#include "tests/trust/trial.h"

namespace qx_test {

struct film_kind {
  std::string name;       // of the file; the ending names the container
  std::string arguments;  // for ffmpeg, after the inputs
  std::string size;
  bool has_sound = true;
  double least_psnr = 25.0;               // dB, of every picture of two encodes of the film
  std::vector<std::string> options = {};  // for each run of the tool
  // So long that the tool makes it in segments of 16 s without being told to.
  bool is_long = false;
};

// MP4, Matroska, MXF and MPEG transport streams with and without sound; open and closed groups of
// pictures, interlaced pictures, a clock that begins anywhere or runs over.
const std::vector<film_kind>& film_kinds();

// Of a film that is not long.
constexpr long all_segments = 6;

class film_bench {
public:
  // Makes the film.
  film_bench(findings& found, const film_kind& kind);

  const std::string& name() const { return kind_.name; }
  std::string about(const std::string& text) const { return kind_.name + ": " + text; }
  findings& found() const { return found_; }

  // Starts the tool for this film, with `more` options and with the steps of tool().
  tool_run start(const std::vector<std::string>& more = {}) const;
  stepped_tool& tool() { return tool_; }

  // Transcodes it undisturbed, unless that was done, to know how many steps and how long that
  // takes.
  void measure();
  long steps() const { return steps_; }
  std::chrono::microseconds usual_time() const { return usual_time_; }

  // The settings of the tools that are started from now on; at first, those of the kind of film,
  // and one engine after another.
  void configure() const;
  void configure(int segment_seconds, int runs = 1) const;

  // How many frames a segment has at first, and how long it takes to play.
  long segment_frames() const { return kind_.is_long ? 400 : 50; }

  // The folder of the result, and the result.
  const scratch_folder& results() const { return results_; }
  const std::string& output() const { return output_; }
  const std::string& source() const { return source_; }
  // The result in one piece, made when it is first asked for.
  const std::string& reference() const;
  bool is_done() const;
  // The folder with segments, and how many segments of pictures are finished: each has a record.
  std::string segment_folder() const;
  long finished() const;

  // Runs the tool to its end, which must be good. It must take over what was finished: of
  // `finished` segments all but the last one, which is made again if the pictures stand still at
  // its end.
  tool_result finish(const std::string& when, long finished);

  // Nothing but the right result is in the folder. What is hidden may be left, if `hidden_too`.
  void expect_right_result(const std::string& when, bool hidden_too = false) const;
  // Whatever is in the folder is hidden, but for a right result.
  void expect_nothing_visible(const std::string& when) const;
  void clear() const;

private:
  void make_film() const;
  std::vector<std::string> arguments(const std::string& output) const;
  const std::vector<std::string>& expected() const;

  findings& found_;
  film_kind kind_;
  stepped_tool tool_;
  scratch_folder settings_;
  scratch_folder results_;
  std::string conf_ = settings_.file("media.conf");
  std::string one_piece_conf_ = settings_.file("one_piece.conf");
  std::string source_;
  std::string reference_ = settings_.file("reference.mp4");
  std::string output_ = results_.file("out.mp4");
  mutable std::vector<std::string> expected_;
  long steps_ = 0;
  std::chrono::microseconds usual_time_{};
};

// The frame that the first, or the last, line of progress names; -1 if there is none.
long first_frame(const std::string& progress);
long last_frame(const std::string& progress);

}  // namespace qx_test
