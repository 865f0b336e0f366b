// The real tools and the real engine on made media.
#pragma once

#include <string>
#include <vector>

#include "tests/support/test_machine.h"

namespace bench {

struct transcoder_shares {
  double in_one_piece;
  double in_segments;
};

class real_media {
public:
  // Makes the media.
  real_media();

  // What failed is NaN, and said on standard error.

  // How fast the transcoder is, as a share of one engine started by hand with the arguments that
  // the transcoder gives it for the whole film.
  transcoder_shares shares_of_engine();
  // The time that the service takes for ten clips, as a share of a shell loop with the commands
  // that the service runs.
  double share_of_shell_loop();

private:
  // Of the engine that the tool runs.
  std::vector<std::string> engine_arguments(pid_t tool) const;
  // Runs the transcoder with those settings; NaN if it fails.
  pid_t start_tool(const std::string& settings) const;
  double tool_seconds(const std::string& settings) const;
  bool find_arguments();
  double hand_seconds(const std::vector<std::string>& command, const std::string& name) const;
  // "done", "cancelled", or the state in which the job of that id has stayed for too long.
  std::string end_state(const std::string& id) const;
  double service_seconds();
  double shell_seconds() const;

  qx_test::test_machine machine_{qx_test::tool_set::built};
  std::vector<std::string> by_hand_;  // the engine's command for the film in one piece
};

}  // namespace bench
