// Whether a source's clock leads to a place in its middle, as a run that begins there needs it.
#pragma once

#include "tools/qxmi_vod_transcode/encode_task.h"
#include "tools/qxmi_vod_transcode/segment_store.h"

enum class source_clock { even, jumping, unknown };

// Reads the whole source once if its container's clock may jump; the verdict stays beside the
// segments. `unknown`, with the failure, if the source cannot be read now; after two failed reads
// in a row it counts as one whose clock jumps.
source_clock find_clock(const encode_task& task, segment_store& store, encode_failure& failure);
