// Makes a long output in segments that survive an interruption: what an earlier run of the tool has
// finished is taken over, the rest is made, and all of it joined.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tools/media/output_file.h"
#include "tools/qxmi_vod_transcode/encode_task.h"
#include "tools/qxmi_vod_transcode/segment_commands.h"
#include "tools/qxmi_vod_transcode/segment_maker.h"
#include "tools/qxmi_vod_transcode/segment_plan.h"
#include "tools/qxmi_vod_transcode/segment_store.h"
#include "tools/qxmi_vod_transcode/verify.h"
#include "tools/qxmi_vod_transcode/work_folder.h"

enum class segment_opening {
  done,
  no_folder,  // segments cannot be kept there
  failed      // the source or what is in the folder cannot be read now, or the tool shall stop
};

class segmented_encode {
public:
  // Judges the joined result; false with the failure.
  using judgement = std::function<bool(frame_counts counts, encode_failure& failure)>;

  // `task` and `output` must outlive this object. `path` is that of the result; lines on standard
  // error are in the name of `tool`.
  segmented_encode(const encode_task& task, const output_file& output, std::string path,
                   std::string tool);

  // Removes the segments unless the tool is asked to stop or keep() was called.
  ~segmented_encode();
  segmented_encode(const segmented_encode&) = delete;
  segmented_encode& operator=(const segmented_encode&) = delete;

  // Leaves the segments, if there are any, for the next run of the tool.
  void keep() { keeps_ = true; }

  // Opens the folder beside the output and takes over what is in it; if that is anything, prints a
  // line on standard error. If it is not done, the failure says why.
  segment_opening open(encode_failure& failure);

  // The bytes of the segments.
  std::uint64_t bytes() const;

  // The same if all are finished, 0 otherwise.
  std::uint64_t finished_bytes() const;

  // Writes the whole output. It consists of complete segments that continue each other, decodes at
  // its ends and at each seam, and pleases `judge`. If a result that several runs made does not,
  // all of it is made once more in one run, unless that was only interrupted. False with the
  // failure, which may be that the output has to be made in one piece.
  bool make(const judgement& judge, encode_failure& failure);

private:
  void announce(const std::string& text) const;
  void start_over(const std::string& why);
  bool may_start_over(const encode_failure& failure) const;
  bool scan(encode_failure& failure);
  bool take_over(encode_failure& failure);
  bool choose_beginning(encode_failure& failure);
  bool choose_whole_sound(encode_failure& failure);
  void set_sound_is_whole(bool whole);
  void read_earlier();
  bool spread(encode_failure& failure);
  bool try_make(const judgement& judge, encode_failure& failure);
  bool make_segments(encode_failure& failure);
  bool make_missing(encode_failure& failure);
  std::vector<segment_range> missing_sound() const;
  double warm_up() const;
  std::int64_t likely_segments() const;
  int chosen_runs() const;
  run_end make_next(encode_failure& failure, bool& was_whole);
  run_end make_several(int at_once, encode_failure& failure);
  bool join_and_judge(const judgement& judge, encode_failure& failure);

  const encode_task& task_;
  const output_file& output_;
  std::string path_;
  std::string tool_;
  segment_plan plan_;
  work_folder folder_;
  std::optional<segment_store> store_;
  bool keeps_ = false;
  bool may_divide_ = true;     // among several engines at once
  bool scanned_ = false;       // and not changed since
  bool was_spread_ = false;    // the nodes of a cluster have written segments
  bool started_over_ = false;  // segments were thrown away by this run of the tool
};
