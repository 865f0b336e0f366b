// The part of a transcode that a cluster does, if there is one and it gains by it.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tools/qxmi_vod_transcode/encode_task.h"
#include "tools/qxmi_vod_transcode/segment_plan.h"
#include "tools/qxmi_vod_transcode/spread/cluster_places.h"

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

// Takes a line for a person.
using announcement = std::function<void(const std::string& text)>;

// Asks the cluster whether it has places for such work, and removes from its queue what tools of
// this machine have left there for good. Nothing if it has too few, or does not answer, which is
// announced.
std::optional<cluster_places> find_places(const cluster_work& work, const announcement& announce);

// Has the cluster make the segments that are missing, as many as it can, and prints progress. Where
// the cluster fails, that is announced. The segments are then in their folder, or still missing.
void make_in_cluster(const cluster_work& work, const cluster_places& places,
                     const announcement& announce);
