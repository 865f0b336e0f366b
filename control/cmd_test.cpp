// "test": answers, to show that the service is running.
#include "control/commands.h"
#include "platform/comm_socket_v4.h"
#include "rules/control_words.h"

void do_cmd_test(const command_call& call) {
  comm_socket_v4_packet_begin_writing(&call.reply, 0, call.command, status_ok);
  comm_socket_v4_packet_write_argv_end(&call.reply);
  comm_socket_v4_packet_write_nv_pair(&call.reply, "name", "value");
  comm_socket_v4_packet_write_end(&call.reply);
}
