#include "tools/qx_vod_ctl/bug_report/versions.h"

#include <sys/stat.h>
#include <sys/utsname.h>

#include "platform/paths.h"
#include "tools/media/engine.h"
#include "tools/media/process_runner.h"
#include "tools/qx_vod_ctl/doctor/service_process.h"
#include "tools/qx_vod_ctl/text_file.h"

namespace {

constexpr std::chrono::seconds time_limit{20};
constexpr const char* package = "qx-vod-service";

std::string first_line_of(const std::vector<std::string>& command) {
  program_request request;
  request.argv = command;
  request.time_limit = time_limit;
  const program_result result = run_program(request);
  if (!result.success()) { return "unknown:  " + result.cause(); }
  return result.output.substr(0, result.output.find('\n'));
}

// The name is in quotes there.
std::string distribution() {
  const text_file release = read_text_file("/etc/os-release", 65536);
  const std::string key = "\nPRETTY_NAME=\"";
  const std::string text = "\n" + release.text;
  const std::size_t at = text.find(key);
  if (at == std::string::npos) { return "unknown:  no name in /etc/os-release"; }
  const std::size_t begin = at + key.size();
  return text.substr(begin, text.find_first_of("\"\n", begin) - begin);
}

std::string kernel() {
  utsname name = {};
  if (uname(&name) != 0) { return "unknown"; }
  return std::string(name.sysname) + " " + name.release + " " + name.version + " " + name.machine;
}

// The service does not report a version, so its file and its package must do.
json11::Json service() {
  service_process process;
  if (!find_service_process(path_control_socket, process)) { return "unknown:  it does not run"; }
  json11::Json::object object = {{"pid", static_cast<int>(process.pid)},
                                 {"executable", process.executable},
                                 {"replaced since", process.replaced},
                                 {"started", static_cast<double>(process.started)}};
  struct stat status = {};
  const std::string file = "/proc/" + std::to_string(process.pid) + "/exe";
  if (stat(file.c_str(), &status) == 0) {
    object["size"] = static_cast<double>(status.st_size);
    object["modified"] = static_cast<double>(status.st_mtim.tv_sec);
  }
  return object;
}

}  // namespace

json11::Json versions_of_machine() {
  return json11::Json::object{
      {"client", QX_VERSION},
      {"service", service()},
      {"package", first_line_of({"/usr/bin/dpkg-query", "--show", package})},
      {"ffmpeg", first_line_of({ffmpeg_path, "-version"})},
      {"kernel", kernel()},
      {"distribution", distribution()}};
}
