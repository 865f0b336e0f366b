// Makes missing segments with engines, into the folder of the finished ones.
#pragma once

#include <cstdint>
#include <deque>
#include <vector>

#include "tools/qxmi_vod_transcode/encode_task.h"
#include "tools/qxmi_vod_transcode/segment_commands.h"
#include "tools/qxmi_vod_transcode/segment_plan.h"
#include "tools/qxmi_vod_transcode/segment_store.h"
#include "tools/qxmi_vod_transcode/segment_watch.h"

// A run that missed its place does not continue the segments before it, or ended before its last
// one: one that begins to read earlier may be better. A failed one comes with the failure. One that
// another machine has overtaken counts as made, although some of its segments may be missing.
enum class run_end { made, missed, failed };

// May stop the engines of a segment_maker besides the tool's signals. Asked about 20 times a
// second.
class run_guard {
public:
  virtual ~run_guard() = default;

  // True keeps the engine stopped until the next call. `work_done` is the engine's; see
  // run_observer.
  virtual bool holds(std::int64_t work_done) = 0;

  // True ends the engine.
  virtual bool ends() const = 0;
};

class segment_maker {
public:
  // `folder` is that of the segments, and `store` is what it holds. All must outlive this object.
  // The folder need not be locked by this process: others may make other segments in it.
  segment_maker(const encode_task& task, const segment_plan& plan, segment_store& store, int folder)
      : task_(task), plan_(plan), store_(store), folder_(folder) {}

  // Runs one engine to its end. Each segment is in the store, and on the disk, as soon as it is
  // finished, however the run ends. It has a folder of its own while it works.
  run_end make(const segment_run& run, encode_failure& failure);

  // The same with several runs in that order, up to `at_once` at the same time, which share the
  // threads. If one misses its place, those that have begun are still run to their end; if one
  // fails, they are killed.
  run_end make_all(std::deque<segment_run> runs, int at_once, encode_failure& failure);

  // For the engines from now on; null for none.
  void set_guard(run_guard* guard) { guard_ = guard; }

private:
  class engine;

  bool start(engine& one, int threads, program_group& group, encode_failure& failure) const;
  run_end end_of(engine& ended, const program_result& result, encode_failure& failure);

  const encode_task& task_;
  const segment_plan& plan_;
  segment_store& store_;
  int folder_;
  keep_turn turn_;
  run_guard* guard_ = nullptr;
};
