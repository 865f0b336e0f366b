#include "tools/qxmi_remote_transcode/upload.h"

#include "platform/paths.h"
#include "platform/transcode_settings.h"
#include "tools/command_line/command_line.h"
#include "tools/job_log/job_log.h"
#include "tools/media/process_runner.h"
#include "tools/media/source_file.h"
#include "tools/media/tool_signals.h"
#include "tools/qxmi_remote_transcode/put_command.h"
#include "tools/qxmi_remote_transcode/upload_folder.h"

namespace {

// The client's message, with exit status 0, if the unfinished copy on the server is as long as the
// source: everything was sent, but the copy was not renamed. The client does nothing then.
constexpr const char* nothing_to_resume = "upload is not necessary";

class upload_job {
public:
  upload_job(const std::string& tool, const class transcode_settings& settings,
             const std::string& name, const std::string& file)
      : tool_(tool), settings_(settings), name_(name), file_(file) {}

  int run() {
    std::string error;
    if (!settings_.go_remote()) {
      name_failure(failure::not_configured);
      return fail(path_vod_conf, "does not name a server, user and password");
    }
    if (!source_.open(file_, error)) { return fail(file_, error); }
    if (!folder_.create(error)) { return fail(file_, error); }
    if (!folder_.write_login(settings_, error)) { return fail(path_vod_conf, error); }
    if (!folder_.link(name_, source_.fd(), error)) { return fail(file_, error); }
    if (!send(error)) { return fail(file_, error); }
    if (!source_.unchanged()) { return fail(file_, "changed while it was sent"); }
    return exit_success;
  }

private:
  int fail(const std::string& file, const std::string& cause) const {
    // A user who stopped the tool needs no reason.
    return stop_signal() != 0 ? exit_failure : report_failure(tool_, file, cause);
  }

  bool send(std::string& error) const {
    program_result result = put(put_mode::resume);
    if (result.success() &&
        (result.errors + result.output).find(nothing_to_resume) != std::string::npos) {
      result = put(put_mode::restart);
    }
    if (result.success()) { return true; }
    name_failure(failure::upload_failed);
    error = result.cause();
    return false;
  }

  program_result put(put_mode mode) const {
    program_request request;
    request.argv =
        put_command(folder_.login_path(), folder_.link_path(), part_suffix(source_.status()), mode);
    return run_program(request);
  }

  const std::string& tool_;
  const class transcode_settings& settings_;
  const std::string& name_;
  const std::string& file_;
  source_file source_;
  upload_folder folder_;
};

}  // namespace

int upload(const std::string& tool, const class transcode_settings& settings,
           const std::string& name, const std::string& file) {
  return upload_job(tool, settings, name, file).run();
}
