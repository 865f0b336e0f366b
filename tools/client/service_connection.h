// The service, reached through its control socket.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "platform/comm_client_v4.h"
#include "platform/paths.h"
#include "tools/client/vod_service.h"

class service_connection : public vod_service {
public:
  // Connects at the first request. The connection is kept, and made again after the service was
  // restarted. The default time limit of a request allows for a service that ends many tools in one
  // pass.
  explicit service_connection(std::string socket_path = path_control_socket,
                              std::chrono::microseconds time_limit = std::chrono::seconds(10));
  // All requests together end at `deadline_us` of monotonic_clock_us().
  service_connection(std::string socket_path, std::uint64_t deadline_us);

  service_reply request(std::string_view command, const name_values& pairs) override;

private:
  std::string socket_path_;
  std::chrono::microseconds time_limit_{0};
  std::optional<std::uint64_t> deadline_us_;
  comm_client_v4 client_;
  std::uint64_t last_request_id_ = 0;
};
