// The control socket, served in the test's own process. The scheduler does not run, so the effect
// of a command stays visible.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

#include <gtest/gtest.h>

#include "tests/support/control_client.h"
#include "tests/support/item_bench.h"

namespace qx_test {

constexpr std::uint64_t write_delay_us = 10000000;

// A process in its own group that does nothing until a signal ends it.
class idle_child {
public:
  idle_child();
  ~idle_child();
  idle_child(const idle_child&) = delete;
  idle_child& operator=(const idle_child&) = delete;

  pid_t pid() const { return pid_; }
  // The first signal sent to it; SIGKILL if there was none. The process is gone afterwards.
  int first_signal();

private:
  pid_t pid_ = -1;
};

class control_bench : public item_bench {
protected:
  control_bench();
  ~control_bench() override;

  // Serves the request, on the one connection that all requests of a test share, and returns the
  // reply.
  reply_packet request(const request_packet& packet);
  reply_packet request(std::string_view command, const name_values& pairs = {});
  reply_packet command(std::string_view command, const QueueItem& item,
                       const name_values& more = {});
  // Sends bytes and lets the service read and serve them.
  void send_and_serve(std::string_view bytes);
  // The next reply to bytes sent that way.
  reply_packet receive() const { return connection_->receive(); }

  QueueItem& add_remote_item(remote_transcode_states state);
  // Adds this many items in this state, with input files numbered "/1", "/2", ...
  void add_items(int count, transcode_states state);
  // The input files of all items, in queue order.
  static strings input_files();

  static bool status_written(const QueueItem& item);
  // The state in the job's status file.
  static std::string status_text(const QueueItem& item);

  static bool scan_is_due();
  static bool write_is_armed();
  static bool nothing_is_armed();

private:
  bool reply_is_there() const;

  raw_connection* connection_ = nullptr;
};

}  // namespace qx_test
