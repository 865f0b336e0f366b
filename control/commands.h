// The commands of the control socket, one function each. Each writes its whole reply.
#pragma once

struct comm_socket_v4_packet;
class QueueItem;

// One request and its reply; `item` is the one that the request selected, null for a command that
// needs none.
struct command_call {
  comm_socket_v4_packet const& request;
  comm_socket_v4_packet& reply;
  char const* command;
  QueueItem* item;
};

void do_cmd_test(command_call const& call);
void do_cmd_add(command_call const& call);
void do_cmd_remove(command_call const& call);
void do_cmd_modify(command_call const& call);
void do_cmd_ready(command_call const& call);
void do_cmd_cancel(command_call const& call);
void do_cmd_restart(command_call const& call);
void do_cmd_pause(command_call const& call);
void do_cmd_resume(command_call const& call);

// The page of the queue, or the one item, that the request asks for (control/listing.cpp).
void do_cmd_list(command_call const& call);
