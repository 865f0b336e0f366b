// Bytes from a client of the control socket, or from the service.
#include "platform/comm_packet_v4.h"
#include "tests/fuzz/fuzz_target.h"

namespace {

// What was read can be written, and reads back the same.
void decode_and_encode(std::string_view bytes, const comm_packet_v4_kind& kind) {
  const comm_packet_v4_front front = comm_packet_v4_look(bytes, kind);
  if (front.state != comm_packet_v4_state::whole) { return; }
  fuzz_expect(front.size <= bytes.size(), "a whole packet is within the bytes");
  comm_socket_v4_packet packet;
  if (!comm_packet_v4_decode(bytes.substr(0, front.size), kind, packet)) { return; }
  std::string wire;
  fuzz_expect(comm_packet_v4_encode(packet, kind, wire), "a packet that was read can be written");
  comm_socket_v4_packet again;
  fuzz_expect(comm_packet_v4_decode(wire, kind, again), "a packet that was written can be read");
  fuzz_expect(packet.words == again.words && packet.nv_pairs == again.nv_pairs &&
                  packet.data == again.data && packet.request_id == again.request_id,
              "it reads back the same");
}

std::string request(const std::vector<std::string>& words,
                    const std::vector<std::pair<std::string, std::string>>& pairs,
                    const std::string& data = "") {
  comm_socket_v4_packet packet;
  packet.flags = comm_socket_v4_flag_want_reply;
  packet.request_id = 7;
  packet.words = words;
  packet.nv_pairs = pairs;
  packet.data = data;
  std::string wire;
  comm_packet_v4_encode(packet, comm_packet_v4_request, wire);
  return wire;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  decode_and_encode(bytes, comm_packet_v4_request);
  decode_and_encode(bytes, comm_packet_v4_reply);
  return 0;
}

std::vector<std::string> fuzz_seeds() {
  return {request({"list"}, {}),
          request({"add"}, {{"input file", "/mnt/media/clip.mpg"}, {"transcode profile", "720"}}),
          request({"list", "OK"}, {{"total", "1"}}, std::string("{\"list\": []}\0x", 14)),
          request({"pause"}, {{"entry id", "0f8b1c2d-0000-4abc-8def-0123456789ab"}}).substr(0, 40)};
}
