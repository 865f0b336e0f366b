// The functions that fill in a reply, in the order in which they must be called.
#include <cassert>
#include <memory>
#include <new>
#include <utility>

#include "platform/comm_socket_v4.h"

using stage = comm_socket_v4_packet::stage;

namespace {

// Packets that have been released are used again, with the memory of their parts: one for a request
// and one for its reply. Large ones are freed.
constexpr std::size_t most_data_kept = 4096;
std::unique_ptr<comm_socket_v4_packet> spare_packets[2];

bool is_worth_keeping(const comm_socket_v4_packet& packet) {
  return packet.words.capacity() + packet.nv_pairs.capacity() <= comm_packet_v4_most_words &&
         packet.data.capacity() <= most_data_kept;
}

void make_blank(comm_socket_v4_packet& packet) {
  packet.flags = 0;
  packet.request_id = 0;
  packet.result_code = 0;
  packet.words.clear();
  packet.nv_pairs.clear();
  packet.data.clear();
  packet.written = stage::blank;
  packet.claim.reset();
}

}  // namespace

comm_socket_v4_packet* comm_socket_v4_packet_create() {
  for (auto& spare : spare_packets) {
    if (spare != nullptr) { return spare.release(); }
  }
  return new (std::nothrow) comm_socket_v4_packet;
}

void comm_socket_v4_packet_release(comm_socket_v4_packet* packet) {
  std::unique_ptr<comm_socket_v4_packet> released(packet);
  if (packet == nullptr || !is_worth_keeping(*packet)) { return; }
  make_blank(*packet);
  for (auto& spare : spare_packets) {
    if (spare == nullptr) {
      spare = std::move(released);
      return;
    }
  }
}

void comm_socket_v4_packet_begin_writing(comm_socket_v4_packet* packet, int /*unused*/,
                                         const char* command, const char* status) {
  packet->words.clear();
  packet->words.emplace_back(command);
  packet->words.emplace_back(status);
  packet->nv_pairs.clear();
  packet->data.clear();
  packet->written = stage::words;
}

void comm_socket_v4_packet_write_argv_end(comm_socket_v4_packet* packet) {
  assert(packet->written == stage::words);
  packet->written = stage::body;
}

void comm_socket_v4_packet_write_nv_pair(comm_socket_v4_packet* packet, const char* name,
                                         const char* value) {
  assert(packet->written == stage::body);
  packet->nv_pairs.emplace_back(name, value);
}

void comm_socket_v4_packet_write_data_binary(comm_socket_v4_packet* packet, const void* bytes,
                                             std::size_t length) {
  assert(packet->written == stage::body);
  packet->data.append(static_cast<const char*>(bytes), length);
}

void comm_socket_v4_packet_write_end(comm_socket_v4_packet* packet) {
  assert(packet->written == stage::body);
  packet->written = stage::complete;
}

void qxmi_default_unknown_command_error_response(const comm_socket_v4_packet* request,
                                                 comm_socket_v4_packet* reply, int /*flags*/) {
  assert(!request->words.empty());
  reply->result_code = comm_socket_v4_result_refused;
  comm_socket_v4_packet_begin_writing(reply, 0, request->words.front().c_str(), "UNKNOWN COMMAND");
  comm_socket_v4_packet_write_argv_end(reply);
  comm_socket_v4_packet_write_end(reply);
}
