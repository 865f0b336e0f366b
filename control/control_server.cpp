// Serves the control socket. The table of commands is here, along with everything that all commands
// share: look-up, common refusals and sending the reply.
#include "control/control_server.h"

#include <cassert>
#include <cstdint>
#include <cstdio>

#include "control/commands.h"
#include "control/reply.h"
#include "control/selection.h"
#include "platform/clock.h"
#include "platform/comm_socket_v4.h"
#include "platform/out_of_memory.h"
#include "queue/process_state.h"
#include "rules/control_words.h"

comm_socket_v4* server_socket = nullptr;

namespace {

// How long one wait for room in a client's output lasts. It should never come to that: the platform
// hands out no request of a client that does not read, and has room for the reply to any other.
constexpr std::uint64_t send_wait_us = 500000;

struct command_entry {
  const char* word;
  bool needs_item;
  bool only_reads;
  void (*run)(const command_call&);
};

constexpr command_entry commands[] = {
    {command_test, false, true, do_cmd_test},       {command_add, false, false, do_cmd_add},
    {command_remove, true, false, do_cmd_remove},   {command_modify, true, false, do_cmd_modify},
    {command_ready, true, false, do_cmd_ready},     {command_cancel, true, false, do_cmd_cancel},
    {command_restart, true, false, do_cmd_restart}, {command_pause, true, false, do_cmd_pause},
    {command_resume, true, false, do_cmd_resume},   {command_list, false, true, do_cmd_list},
};

void run_command(const command_entry& entry, const comm_socket_v4_packet& request,
                 comm_socket_v4_packet& reply) {
  command_call call{request, reply, entry.word, nullptr};
  if (entry.needs_item) {
    const item_selection selection(request);
    if (!selection.is_given()) {
      refuse(reply, entry.word, "ENTRY NOT SPECIFIED");
      return;
    }
    call.item = selection.find();
    if (call.item == nullptr) {
      refuse(reply, entry.word, status_not_found);
      return;
    }
  }
  entry.run(call);
  if (call.item != nullptr) { trigger_all_turns(); }
}

// The command that the request names; null if there is none of that name.
const command_entry* find_command(const comm_socket_v4_packet& request) {
  for (const command_entry& entry : commands) {
    if (!request.words.empty() && request.words.front() == entry.word) { return &entry; }
  }
  return nullptr;
}

void answer(const command_entry* entry, const comm_socket_v4_packet& request,
            comm_socket_v4_packet& reply) {
  reply.flags = request.flags & comm_socket_v4_flag_option;
  reply.request_id = request.request_id;
  reply.result_code = 0;
  if (entry != nullptr) {
    run_command(*entry, request, reply);
  } else {
    qxmi_default_unknown_command_error_response(&request, &reply, 0);
  }
}

void send_reply(comm_socket_v4_client* client, comm_socket_v4_packet* reply) {
  int sent = 0;
  while ((sent = comm_socket_v4_packet_send_to_client(client, reply)) == 0) {
    comm_socket_v4_wait_for_server_to_client_writeable(client, monotonic_clock_us() + send_wait_us);
  }
  if (sent < 0) { fprintf(stderr, "Failed to send packet to client\n"); }
}

void refuse_for_lack_of_memory(const comm_socket_v4_packet& request, comm_socket_v4_packet& reply) {
  refuse(reply, request.words.empty() ? "" : request.words.front().c_str(), status_out_of_memory);
}

// A request whose sender wants no reply is not carried out, nor is one that only reads if its
// sender has gone: clients that send many and leave would keep the service busy for minutes.
void handle_request(comm_socket_v4_client* client, comm_socket_v4_packet* request) {
  if ((request->flags & comm_socket_v4_flag_want_reply) == 0) { return; }
  const command_entry* const entry = find_command(*request);
  const bool is_futile = entry == nullptr || entry->only_reads;
  if (is_futile && !comm_socket_v4_client_takes_replies(client)) { return; }
  comm_socket_v4_packet* const reply = comm_socket_v4_packet_create();
  if (reply == nullptr) {
    tell_out_of_memory("a request was not carried out");
    comm_socket_v4_drop_client(client);
    return;
  }
  const bool is_answered =
      with_memory("a request was not carried out", [&] { answer(entry, *request, *reply); }) ||
      with_memory("a request was not refused",
                  [&] { refuse_for_lack_of_memory(*request, *reply); });
  const bool is_sent =
      is_answered && with_memory("a reply was not sent", [&] { send_reply(client, reply); });
  if (!is_sent) { comm_socket_v4_drop_client(client); }
  comm_socket_v4_packet_release(reply);
}

void meet_and_part() {
  while (comm_socket_v4_accept_connection(server_socket) != nullptr) {
    fprintf(stderr, "* new connection\n");
  }
  while (comm_socket_v4_client* const gone =
             comm_socket_v4_get_disconnected_client(server_socket)) {
    fprintf(stderr, "* disconnected client\n");
    comm_socket_v4_free_client(gone);
  }
}

}  // namespace

int handle_server_socket() {
  if (server_socket == nullptr || comm_socket_v4_fd(server_socket) < 0 ||
      comm_socket_v4_idle(server_socket) != 0) {
    return -1;
  }
  meet_and_part();
  comm_socket_v4_client* client = nullptr;
  comm_socket_v4_packet* request = nullptr;
  while ((request = comm_socket_v4_server_get_packet(server_socket, &client)) != nullptr) {
    assert(client != nullptr);
    handle_request(client, request);
    comm_socket_v4_packet_release(request);
  }
  return 0;
}
