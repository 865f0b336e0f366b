// The settings of the media tools, from the file media.conf. Those of the service are elsewhere, in
// vod.conf.
#pragma once

#include <string>
#include <vector>

constexpr const char* path_media_conf = "/etc/qx_vod_service/media.conf";

// A setting is a field here, with its default, and a line in declare_settings().
struct tool_config {
  int stall_seconds = 120;  // "stall.seconds": how long an encoder may stand still
  int longest_hours = 48;   // "length.max_hours": the longest declared length that is believed

  // Whether a long transcode keeps its finished segments ("checkpoint"), for how many days after an
  // interruption ("checkpoint.keep_days"), how long they are ("checkpoint.segment_seconds"), and
  // how long a source must be ("checkpoint.min_seconds").
  bool checkpoint = true;
  int checkpoint_keep_days = 7;
  int segment_seconds = 16;
  int checkpoint_min_seconds = 60;
  // How many encoders make the segments of one output at the same time ("checkpoint.runs"); 0 for
  // as many as use this machine well.
  int checkpoint_runs = 1;

  // Whether a cluster makes the segments ("spread": "none" or "slurm"), in which partition
  // ("spread.partition", empty for the cluster's default), on how many nodes at once
  // ("spread.nodes", 0 for all), with how many threads each ("spread.cpus"), from which length of a
  // source on in seconds ("spread.min_length"), and for how many seconds it may do nothing before
  // this machine takes over ("spread.patience").
  std::string spread = "none";
  std::string spread_partition;
  int spread_nodes = 0;
  int spread_cpus = 4;
  int spread_min_length = 300;
  int spread_patience = 120;
};

// The file to read: path_media_conf, or the one that QX_MEDIA_CONF names in the environment.
std::string media_conf_path();

// Reads `path`. What it does not set keeps its default, and so does everything if there is no such
// file. Each line that is wrong and is therefore ignored, or the reason why the file cannot be
// read, becomes a warning that begins with the path.
tool_config read_tool_config(const std::string& path, std::vector<std::string>& warnings);

// The settings of this process, read from media_conf_path() by the first call, which prints the
// warnings on standard error and in the job's log.
const tool_config& configured();
