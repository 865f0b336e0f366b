// Fixed paths of the server platform, each defined once.
#pragma once

constexpr char path_settings_dir[] = "/mnt/main/tv/";
constexpr char path_fileops_dir[] = "/mnt/main/tv/fileops/";
constexpr char path_fileops_jobs[] = "/mnt/main/tv/fileops/jobs";
constexpr char path_output_dir[] = "/mnt/main/tv/vod/";
constexpr char path_vod_conf[] = "/mnt/main/tv/vod.conf";
constexpr char path_queue_file[] = "/mnt/main/tv/vod.queue.js";
constexpr char path_queue_file_temporary[] = "/mnt/main/tv/vod.queue.js.tmp";
// The path of a copy of an unreadable queue file is this prefix followed by the time when the file
// was set aside.
constexpr char path_queue_copy_prefix[] = "/mnt/main/tv/vod.queue.js.unreadable-";
constexpr char path_media_roots[] = "/mnt/main/tv/media.roots";
constexpr char path_control_socket[] = "/var/run/vod.transcode.service";
