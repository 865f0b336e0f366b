// The service as the subcommands see it: they send a request and get its interpreted reply. The
// implementation is the control socket, or a script of answers in the unit tests.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/comm_client_v4.h"

using name_values = std::vector<std::pair<std::string, std::string>>;

// The client's exit statuses, besides 0 for success and 2 for a wrong command line. If several
// apply to one run, the highest is returned.
constexpr int exit_job_failed = 1;    // a job was cancelled or failed; standard output is broken
constexpr int exit_no_service = 3;    // nobody listens, or no sensible answer came
constexpr int exit_no_such_item = 4;  // never existed, or gone in the meantime
constexpr int exit_refused = 5;       // the service said no

struct service_reply {
  int exit_status = exit_no_service;  // 0 for an accepted request
  // Whether the service answered at all; only where it did not, other than ok.
  comm_client_result delivery = comm_client_result::ok;
  std::string text;    // "OK", the service's refusal, or why there is no answer
  std::string advice;  // how to solve it; empty if unknown
  name_values pairs;
  std::string data;

  bool accepted() const { return exit_status == 0; }
  // The last value of that name; empty when there is none.
  std::string pair(std::string_view name) const;
};

class vod_service {
public:
  virtual ~vod_service() = default;

  // Sends one command and waits for its answer or the deadline. A failure is a reply too. Trap:
  // with exit_no_service the command may have been carried out nevertheless.
  virtual service_reply request(std::string_view command, const name_values& pairs) = 0;
};
