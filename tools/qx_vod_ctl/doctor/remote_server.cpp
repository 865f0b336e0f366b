// Asks the other server with the HTTP client that the service uses too.
#include "tools/qx_vod_ctl/doctor/remote_server.h"

#include <cstdlib>

#include <unistd.h>

#include "platform/transcode_settings.h"
#include "rules/control_words.h"
#include "rules/json_keys.h"
#include "rules/tool_commands.h"
#include "tools/qx_vod_ctl/doctor/configuration.h"
#include "tools/qx_vod_ctl/private_folder.h"

namespace {

constexpr const char* connect_limit_s = "3";
constexpr const char* answer_limit_s = "5";

// Above the client's own limits: only for one that hangs itself.
constexpr std::chrono::seconds client_limit{15};

// Exit statuses of the client.
constexpr int exit_unknown_name = 6;
constexpr int exit_no_connection = 7;
constexpr int exit_access_denied = 9;
constexpr int exit_timeout = 28;
constexpr int exit_login_denied = 67;

constexpr const char* settings_advice =
    "set \"transcode server user\" and \"password\" to those of the account on the remote server";

std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') { result += '\\'; }
    result += c;
  }
  return result + "\"";
}

program_request client_request(const std::string& configuration, const std::string& url) {
  program_request request;
  request.argv = {http_client_program, "--config",
                  configuration,       "--silent",
                  "--connect-timeout", connect_limit_s,
                  "--max-time",        answer_limit_s,
                  "--write-out",       std::string("\n") + connect_marker + "%{time_connect}\n"};
  request.argv.push_back(url);
  request.time_limit = client_limit;
  return request;
}

program_result ask_gateway(const std::string& configuration, const std::string& address) {
  program_request request = client_request(configuration, gateway_url(address, command_list));
  request.argv.insert(request.argv.end() - 1, {"-i", "-X", "POST", "--data-binary",
                                               std::string(key_entry_id) + ":none\n\n"});
  return run_program(request);
}

program_result ask_ftp_server(const std::string& configuration, const std::string& address) {
  program_request request = client_request(configuration, "ftp://" + address + "/");
  request.argv.insert(request.argv.end() - 1, "--head");
  return run_program(request);
}

bool was_connected(const std::string& output) {
  const std::size_t at = output.rfind(connect_marker);
  return at != std::string::npos &&
         std::strtod(output.c_str() + at + std::string(connect_marker).size(), nullptr) > 0.0;
}

// Failures that can affect either server.
finding judge_silence(const std::string& check, const program_result& result,
                      const std::string& address, const std::string& server) {
  if (result.end != program_end::exited) {
    return problem(check, "the request to " + address + " failed: " + result.cause(),
                   std::string("check ") + http_client_program);
  }
  switch (result.exit_status) {
  case exit_unknown_name:
    return problem(check, address + " is an unknown host name",
                   "correct \"transcode server address\", or fix the name resolution");
  case exit_no_connection:
    return problem(check, server + " on " + address + " accepts no connections",
                   "start it on that machine, and open the firewall for it");
  case exit_timeout:
    if (was_connected(result.output)) {
      return problem(check, server + " on " + address + " accepts connections but does not answer",
                     "restart it on that machine; jobs wait until it answers");
    }
    return problem(check, address + " did not answer within " + connect_limit_s + " s",
                   "check that the machine is running, and the network and firewalls in between");
  default:
    return problem(check,
                   server + " on " + address + " gave an unexpected answer (exit status " +
                       std::to_string(result.exit_status) + " of curl)",
                   "check that the address is that of the right machine");
  }
}

// The status of the last answer that begins in the text; 0 if there is none. An interim answer may
// come first.
int http_status(const std::string& output) {
  int status = 0;
  for (std::size_t at = 0; output.compare(at, 5, "HTTP/") == 0;) {
    const std::size_t blank = output.find(' ', at);
    if (blank == std::string::npos) { break; }
    status = std::atoi(output.c_str() + blank);
    const std::size_t end = output.find("\r\n\r\n", at);
    if (end == std::string::npos || status >= 200) { break; }
    at = end + 4;
  }
  return status;
}

}  // namespace

std::string client_configuration(const class transcode_settings& settings) {
  return "user = " + quoted(settings.user + ":" + settings.password) + "\n";
}

finding judge_gateway(const program_result& result, const std::string& address) {
  constexpr const char* check = "gateway";
  if (!result.success()) { return judge_silence(check, result, address, "the web server"); }
  const int status = http_status(result.output);
  const bool is_ours = result.output.find("X-comm-error:NOT FOUND") != std::string::npos;
  const std::string answer = "the web server on " + address + " answers " + std::to_string(status);
  switch (status) {
  case 404:
    if (is_ours) { return fine(check, address + " answers and accepts the name and password"); }
    return problem(check, answer + ": no gateway there", "install vod.cgi on that machine");
  case 401:
  case 403:
    return problem(check, answer + ": wrong name or password", settings_advice);
  case 503:
    return problem(check, answer + ": its service is not running",
                   "start qx_vod_service on that machine, and let the web server use its socket");
  default:
    return problem(check, answer + ": that is not the gateway",
                   "find out what answers there; it may be a proxy or a login page in between");
  }
}

finding judge_ftp_server(const program_result& result, const std::string& address) {
  constexpr const char* check = "ftp";
  const bool exited = result.end == program_end::exited;
  if (result.success() || (exited && result.exit_status == exit_access_denied)) {
    return fine(check, address + " accepts the name and password");
  }
  if (exited && result.exit_status == exit_login_denied) {
    return problem(check, "the FTP server on " + address + " rejects the name or password",
                   settings_advice);
  }
  return judge_silence(check, result, address, "the FTP server");
}

finding_list check_remote_server(const class transcode_settings& settings) {
  if (access(http_client_program, X_OK) != 0) { return {}; }
  private_folder folder;
  std::string error;
  if (!folder.create(error) || !folder.write("client", client_configuration(settings), error)) {
    return {warning("gateway", "the remote server was not tested, no private directory: " + error,
                    "free up space in /run or /tmp")};
  }
  const std::string configuration = folder.path() + "/client";
  const std::string shown = shown_address(settings.address);
  return {judge_gateway(ask_gateway(configuration, settings.address), shown),
          judge_ftp_server(ask_ftp_server(configuration, settings.address), shown)};
}
