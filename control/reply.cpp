#include "control/reply.h"

#include <string>

#include "control/commands.h"
#include "platform/comm_socket_v4.h"
#include "queue/process_state.h"
#include "queue/queue_item.h"
#include "rules/control_words.h"

namespace {

void begin(comm_socket_v4_packet& reply, const char* command, const char* status) {
  comm_socket_v4_packet_begin_writing(&reply, 0, command, status);
  comm_socket_v4_packet_write_argv_end(&reply);
}

}  // namespace

void write_item_json(comm_socket_v4_packet& reply, const QueueItem& item) {
  std::string text;
  item.serialize_to_string(text, false);
  comm_socket_v4_packet_write_data_binary(&reply, text.data(), text.size());
}

void reply_ok(comm_socket_v4_packet& reply, const char* command) {
  begin(reply, command, status_ok);
  comm_socket_v4_packet_write_end(&reply);
}

void reply_item(comm_socket_v4_packet& reply, const char* command, const QueueItem& item) {
  begin(reply, command, status_ok);
  write_item_json(reply, item);
  comm_socket_v4_packet_write_end(&reply);
}

void reply_changed_item(const command_call& call) {
  reply_item(call.reply, call.command, *call.item);
  trigger_transcode_queue_scan();
}

void refuse(comm_socket_v4_packet& reply, const char* command, const char* status) {
  reply.result_code = comm_socket_v4_result_refused;
  begin(reply, command, status);
  comm_socket_v4_packet_write_end(&reply);
}

void refuse_with_item(comm_socket_v4_packet& reply, const char* command, const char* status,
                      const QueueItem& item) {
  reply.result_code = comm_socket_v4_result_refused;
  begin(reply, command, status);
  write_item_json(reply, item);
  comm_socket_v4_packet_write_end(&reply);
}
