// The service behind the control socket.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "platform/comm_client_v4.h"
#include "platform/paths.h"
#include "tools/qx_vod_ctl/vod_service.h"

class service_connection : public vod_service {
public:
  // Connects at the first request. The connection is kept, and made anew when the service was
  // restarted. The default deadline allows for a service that reaps many tools in one pass.
  explicit service_connection(std::string socket_path = path_control_socket,
                              std::chrono::microseconds deadline = std::chrono::seconds(10));

  service_reply request(std::string_view command, const name_values& pairs) override;

private:
  std::string socket_path_;
  std::chrono::microseconds deadline_;
  comm_client_v4 client_;
  std::uint64_t last_request_id_ = 0;
};
