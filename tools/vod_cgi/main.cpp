// vod.cgi: lets another server of the same kind, and the queue page, use the control socket through
// a web server. Who may do so is the web server's to decide.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <unistd.h>

#include "platform/clock.h"
#include "platform/file_bytes.h"
#include "platform/paths.h"
#include "tools/vod_cgi/gateway.h"

namespace {

constexpr std::uint64_t time_limit_us = 10000000;
constexpr int exit_usage = 2;

// For a person at a terminal. A web server may pass a query without "=" as arguments, so they are
// only evaluated if there is no web server.
int answer_person(int argc, char** argv) {
  if (argc == 2 && strcmp(argv[1], "--help") == 0) {
    puts("vod.cgi: CGI/1.1 gateway to qx_vod_service; run by a web server.\n"
         "POST vod.cgi?c=vodsrv&vc=COMMAND with name:value lines as the body;\n"
         "GET vod.cgi?c=queue and POST vod.cgi?c=command&vc=COMMAND with JSON for the queue page.");
    return 0;
  }
  if (argc == 2 && strcmp(argv[1], "--version") == 0) {
    puts("vod.cgi " QX_VERSION);
    return 0;
  }
  fputs("vod.cgi: must be run by a web server as a CGI program\n", stderr);
  return exit_usage;
}

}  // namespace

int main(int argc, char** argv) {
  if (getenv("GATEWAY_INTERFACE") == nullptr) { return answer_person(argc, argv); }
  // A client that does not read its answer must not block the program forever either.
  alarm(static_cast<unsigned>(2 * time_limit_us / 1000000));
  const std::string text =
      answer_request(cgi_input::from_environment(), STDIN_FILENO, path_control_socket,
                     monotonic_clock_us() + time_limit_us);
  return write_all(STDOUT_FILENO, text) ? 0 : 1;
}
