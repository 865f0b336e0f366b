// The machine: how long it is up, the room on its disk, the folders the service works in.
#pragma once

#include <cstdint>

#include "tools/qx_vod_ctl/doctor/finding.h"

// A machine that is up for less than this starts no transcode.
constexpr long uptime_gate_s = 300;

finding_list check_machine();

// Judges an uptime in seconds.
finding judge_uptime(long uptime_s);

// The free room of a file system, as the service sees it.
struct disk_room {
  std::uint64_t free_bytes = 0;
  std::uint64_t size_bytes = 0;
  bool out_of_files = false;  // it is out of inodes, however small
  bool read_only = false;
};

// False with errno if it cannot be determined, for example because the folder does not exist.
bool read_disk_room(const std::string& folder, disk_room& room);

// Whether its file system has so little room that this is a problem; not if that is unknown.
bool is_nearly_full(const std::string& folder);

finding judge_disk_room(const std::string& folder, const disk_room& room);

// A folder that the service creates if it is missing.
struct service_folder {
  const char* check;
  const char* path;
  bool open_to_everybody;  // others should be able to write there
};

finding check_folder(const service_folder& folder);
