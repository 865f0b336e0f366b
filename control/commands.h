// The commands of the control socket, one function each. Each function writes the whole reply.
#pragma once

struct comm_socket_v4_packet;
class QueueItem;

// One request and its reply. `item` is the item that the request selected, null for a command that
// needs none.
struct command_call {
  const comm_socket_v4_packet& request;
  comm_socket_v4_packet& reply;
  const char* command;
  QueueItem* item;
};

void do_cmd_test(const command_call& call);
void do_cmd_add(const command_call& call);
void do_cmd_remove(const command_call& call);
void do_cmd_modify(const command_call& call);
void do_cmd_ready(const command_call& call);
void do_cmd_cancel(const command_call& call);
void do_cmd_restart(const command_call& call);
void do_cmd_pause(const command_call& call);
void do_cmd_resume(const command_call& call);

// "list": one item, or a page of the queue (control/cmd_list.cpp).
void do_cmd_list(const command_call& call);
