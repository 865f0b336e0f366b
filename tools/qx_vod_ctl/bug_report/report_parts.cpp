#include "tools/qx_vod_ctl/bug_report/report_parts.h"

#include "rules/json_text.h"
#include "tools/command_line/command_line.h"
#include "tools/media/process_runner.h"
#include "tools/media/tool_signals.h"
#include "tools/qx_vod_ctl/text_file.h"

namespace {

constexpr const char* packer = "/usr/bin/tar";
constexpr std::size_t part_limit = std::size_t{1} << 20;
constexpr std::size_t archive_limit = std::size_t{64} << 20;
constexpr std::chrono::minutes packing_limit{1};

}  // namespace

report_parts::report_parts(std::string name, secret_mask secrets)
    : name_(std::move(name)), secrets_(std::move(secrets)) {}

bool report_parts::create(std::string& error) {
  return folder_.create(error);
}

void report_parts::add_text(const std::string& part, const std::string& text) {
  std::string error;
  if (!folder_.write(name_ + "/" + part, secrets_.masked(text), error)) {
    add_missing(part, error);
  }
}

void report_parts::add_json(const std::string& part, const json11::Json& json) {
  std::string error;
  const std::string text = json_text(secrets_.masked_json(json)) + "\n";
  if (!folder_.write(name_ + "/" + part, text, error)) { add_missing(part, error); }
}

void report_parts::add_file(const std::string& part, const std::string& folder,
                            const std::string& name) {
  const text_file file = read_text_file_without_links(folder, name, part_limit);
  file.read() ? add_text(part, file.text)
              : add_missing(part, folder + "/" + name + ": " + file.cause());
}

void report_parts::add_missing(const std::string& part, const std::string& reason) {
  missing_ += part + ": " + on_one_line(secrets_.masked(reason)) + "\n";
}

bool report_parts::pack(std::string& archive, std::string& error) {
  if (!missing_.empty() && !folder_.write(name_ + "/missing.txt", missing_, error)) {
    return false;
  }
  program_request request;
  request.argv = {packer,           "--create",       "--gzip",      "--file",       "-",
                  "--owner=root:0", "--group=root:0", "--directory", folder_.path(), name_};
  request.time_limit = packing_limit;
  request.output_limit = archive_limit;
  program_result result = run_program(request);
  read_tool_signals();
  if (!result.success() || stop_signal() != 0) {
    error = std::string(packer) + ": " + result.cause();
    return false;
  }
  archive = std::move(result.output);
  return true;
}
