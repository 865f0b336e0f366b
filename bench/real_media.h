// The real tools and the real engine on made media.
#pragma once

#include <string>
#include <vector>

#include "tests/support/test_machine.h"

namespace bench {

class real_media {
public:
  // Makes the media.
  real_media();

  // Both are NaN if something failed, which is said on standard error.

  // How fast the transcoder is, as a share of the same engine started by hand with the arguments
  // that the transcoder gives it.
  double share_of_engine();
  // The time that the service takes for ten clips, as a share of a shell loop with the commands
  // that the service runs.
  double share_of_shell_loop();

private:
  std::vector<std::string> engine_arguments(pid_t tool) const;
  double tool_seconds();
  double hand_seconds() const;
  // "done", "cancelled", or the state in which the job of that id has stayed for too long.
  std::string end_state(const std::string& id) const;
  double service_seconds();
  double shell_seconds() const;

  qx_test::test_machine machine_{qx_test::tool_set::built};
  std::vector<std::string> engine_arguments_;  // of the transcoder's last run
};

}  // namespace bench
