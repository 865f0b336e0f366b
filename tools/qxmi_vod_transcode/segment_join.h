// Joins finished segments to a result.
#pragma once

#include "tools/media/output_file.h"
#include "tools/qxmi_vod_transcode/encode_task.h"
#include "tools/qxmi_vod_transcode/segment_plan.h"
#include "tools/qxmi_vod_transcode/segment_store.h"

// Writes all segments of `store`, which lie in `folder`, to `output`, and decodes a moment
// of it at both ends and wherever one run continued another. The engine's word is no proof: it says
// that all went well when a segment is missing. The caller judges the result as a whole.
bool join_segments(const encode_task& task, const output_file& output, const segment_plan& plan,
                   const segment_store& store, int folder, encode_failure& failure);
