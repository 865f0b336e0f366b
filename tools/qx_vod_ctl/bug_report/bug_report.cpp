#include "tools/qx_vod_ctl/bug_report/bug_report.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>

#include <sys/stat.h>

#include "platform/fileops_jobs.h"
#include "platform/paths.h"
#include "platform/transcode_settings.h"
#include "rules/fileops_words.h"
#include "rules/json_keys.h"
#include "rules/json_text.h"
#include "rules/output_name.h"
#include "tools/job_log/job_log_file.h"
#include "tools/media/engine.h"
#include "tools/media/left_segments.h"
#include "tools/media/process_runner.h"
#include "tools/media/source_file.h"
#include "tools/qx_vod_ctl/bug_report/versions.h"
#include "tools/qx_vod_ctl/doctor/configuration.h"
#include "tools/qx_vod_ctl/doctor/file_owner.h"

namespace {

constexpr std::chrono::seconds probe_limit{60};
constexpr std::size_t short_id_length = 8;

// The service's and its tools' files in an output's metadata directory.
constexpr const char* output_files[] = {summary_file, source_metadata_file, "metadata",
                                        job_log_name};

void add_job(const json11::Json& item, report_parts& parts) {
  char folder[4096];
  const json11::Json& id = item[key_fileops_job_id];
  if (!id.is_number() ||
      cgi_get_fileops_job_directory(id.int_value(), sizeof folder, folder) == nullptr) {
    parts.add_missing("job", "the item has none");
    return;
  }
  for (const std::string name : {fileops_status_file, fileops_pid_file}) {
    parts.add_file("job/" + name, folder, name);
  }
}

void add_probe(const std::string& part, const std::string& media, report_parts& parts) {
  source_file source;
  std::string error;
  if (!source.open(media, error)) { return parts.add_missing(part, media + " " + error); }
  program_request request = confined_request(ffprobe_command(), source);
  request.argv.insert(request.argv.end(),
                      {"-of", "json", "-show_format", "-show_streams", "-show_programs"});
  add_input(request.argv, source.url());
  request.time_limit = probe_limit;
  const program_result result = run_program(request);
  const json11::Json report = parse_json(result.output, error);
  if (!result.success()) { return parts.add_missing(part, engine_cause(result, source.url())); }
  report.is_null() ? parts.add_missing(part, error) : parts.add_json(part, report);
}

std::string moment(std::time_t seconds) {
  tm parts = {};
  char text[40] = "";
  if (gmtime_r(&seconds, &parts) != nullptr) {
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts);
  }
  return text;
}

const char* kind(mode_t mode) {
  if (S_ISREG(mode)) { return "a file"; }
  if (S_ISDIR(mode)) { return "a directory"; }
  return S_ISLNK(mode) ? "a symbolic link" : "neither file nor folder";
}

std::string file_line(const std::string& path) {
  struct stat status = {};
  if (lstat(path.c_str(), &status) != 0) { return path + ": " + std::strerror(errno) + "\n"; }
  return path + ": " + kind(status.st_mode) + ", " + std::to_string(status.st_size) +
         " bytes, mode " + mode_text(status.st_mode) + ", of " + user_name(status.st_uid) + ":" +
         group_name(status.st_gid) + ", modified " + moment(status.st_mtim.tv_sec) + " UTC\n";
}

void add_source(const std::string& path, report_parts& parts) {
  if (path.empty()) { return parts.add_missing("source", "the item has none"); }
  parts.add_text("source/file.txt", file_line(path));
  for (const char* name : {"metadata", job_log_name}) {
    parts.add_file(std::string("source/") + name, metadata_folder_of(path), name);
  }
  add_probe("source/probe.json", path, parts);
}

void add_output(const std::string& path, report_parts& parts) {
  if (path.empty()) { return parts.add_missing("output", "the item has none yet"); }
  const std::string folder = metadata_folder_of(path);
  parts.add_text("output/file.txt", file_line(path) + file_line(folder) +
                                        file_line(folder + "/" + thumbnail_file) +
                                        file_line(folder + "/" + ready_file));
  for (const char* name : output_files) {
    parts.add_file(std::string("output/") + name, folder, name);
  }
  add_probe("output/probe.json", path, parts);
}

void add_segments(const std::string& source, report_parts& parts) {
  const left_part_sums found = find_segments_of(source, path_output_dir);
  parts.add_text("output/segments.txt", path_output_dir + (": " + std::to_string(found.count)) +
                                            " finished segments of the source, " +
                                            std::to_string(found.bytes) + " bytes\n");
}

void add_configuration(report_parts& parts) {
  const text_file file = read_configuration_file();
  if (file.read()) { return parts.add_text("configuration.txt", masked_configuration(file.text)); }
  parts.add_missing("configuration.txt", std::string(path_vod_conf) + ": " + file.cause());
}

}  // namespace

void add_all_parts(const reported_item& item, report_parts& parts) {
  if (item.stored) { parts.add_missing("item", "no service: item.json comes from the queue file"); }
  parts.add_json("item.json", item.json);
  parts.add_json("doctor.json", findings_json(item.findings));
  parts.add_json("versions.json", versions_of_machine());
  add_configuration(parts);
  add_job(item.json, parts);
  add_source(item.json[key_input_file].string_value(), parts);
  add_output(item.json[key_output_file].string_value(), parts);
  add_segments(item.json[key_input_file].string_value(), parts);
}

secret_mask configured_secrets() {
  std::vector<std::string> secrets;
  for (const auto& pair : read_configuration(read_configuration_file().text).pairs) {
    if (pair.name == setting_password) { secrets.push_back(pair.value); }
  }
  return secret_mask(secrets);
}

std::string report_name(const std::string& entry_id, std::time_t now) {
  std::string id = entry_id.substr(0, short_id_length);
  std::replace_if(
      id.begin(), id.end(), [](unsigned char c) { return std::isalnum(c) == 0 || c > 0x7f; }, '-');
  tm parts = {};
  char date[40] = "";
  if (gmtime_r(&now, &parts) != nullptr) {
    std::strftime(date, sizeof date, "%Y%m%d-%H%M%S", &parts);
  }
  return "qx_vod_report-" + id + "-" + date;
}
