// The part of a transcode that a cluster does, if there is one and it gains by it.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tools/qxmi_vod_transcode/encode_task.h"
#include "tools/qxmi_vod_transcode/segment_plan.h"

struct cluster_work {
  const encode_task& task;
  const segment_plan& plan;
  int folder;                           // of the segments
  std::vector<segment_range> pictures;  // that are missing
  std::vector<segment_range> sounds;
};

// Whether the settings want such work to be spread: they name a cluster, and the source is long
// enough.
bool is_spread(const cluster_work& work);

// Has the cluster make the segments that are missing, as many as it can, and prints progress.
// `announce` gets a line for a person where the cluster is not there, or fails. The segments are
// then in their folder, or still missing.
void make_in_cluster(const cluster_work& work,
                     const std::function<void(const std::string& text)>& announce);
