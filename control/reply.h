// The forms of a reply.
#pragma once

struct comm_socket_v4_packet;
class QueueItem;
struct command_call;

// "OK" without data.
void reply_ok(comm_socket_v4_packet& reply, const char* command);

// "OK" with the item's JSON form as data.
void reply_item(comm_socket_v4_packet& reply, const char* command, const QueueItem& item);

// The same after a change of the call's item, which may let a job start: the queue is scanned soon.
void reply_changed_item(const command_call& call);

// A refusal: its text and the result code that all refusals share, without data.
void refuse(comm_socket_v4_packet& reply, const char* command, const char* status);

// A refusal with the item as data.
void refuse_with_item(comm_socket_v4_packet& reply, const char* command, const char* status,
                      const QueueItem& item);

// Sets the reply's data to the item's JSON form.
void write_item_json(comm_socket_v4_packet& reply, const QueueItem& item);
