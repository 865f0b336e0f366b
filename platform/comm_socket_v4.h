// The server side of the control socket: a local stream socket that serves packets
// (comm_packet_v4.h) to many clients from one thread. Reading is bounded per round and nothing
// blocks but the two operations with a deadline. Deadlines are of monotonic_clock_us().
//
// One pass of a server: idle, then accept_connection until null, then get_disconnected_client until
// null (free each), then server_get_packet until null (answer and release each).
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/comm_packet_v4.h"

struct comm_socket_v4;
struct comm_socket_v4_client;

// --- the server ---

// A server that does not listen yet; null when there is no memory. The caller owns it.
comm_socket_v4* comm_socket_v4_create();

// Closes the listening socket and every client, removes the socket file if it is still the one that
// this server made, and returns null. Accepts null. Every client handed out is void afterwards;
// requests are not, and are still to be released.
comm_socket_v4* comm_socket_v4_destroy(comm_socket_v4* server);

// Binds to `path` and listens. A socket file that nobody listens on is removed first; one in use,
// or a file of another kind, stays and is a failure (EADDRINUSE). The file's mode follows the
// umask. Returns 0, or negative with errno. A server listens once in its life.
int comm_socket_v4_create_server(comm_socket_v4* server, const char* path);

// The listening descriptor, for polling; -1 when not listening, and for null.
int comm_socket_v4_fd(const comm_socket_v4* server);

// One bounded round of socket work: takes in new connections and reads at most 64 KiB from each
// client, and delivers replies that wait. A client is not read from while its last request has not
// been handed out, or while replies wait for it. One that has not finished a request 30 s after its
// first bytes, or that has taken nothing of waiting replies for 5 s, is closed. All input buffers
// together take at most 32 MiB; beyond that the client whose request has been unfinished for
// longest is closed. Returns 0, or negative when the server does not listen or its listening socket
// is broken.
int comm_socket_v4_idle(comm_socket_v4* server);

// The next client that idle took in, or null. The server keeps it; the pointer is good until
// comm_socket_v4_free_client.
comm_socket_v4_client* comm_socket_v4_accept_connection(comm_socket_v4* server);

// The next client that is gone, each once, or null; the caller frees it. A client that closed only
// its sending side, or sent something malformed, is gone when all that it sent whole before has
// been handed out and released. Only clients that accept_connection told of are told of here.
comm_socket_v4_client* comm_socket_v4_get_disconnected_client(comm_socket_v4* server);

// Closes the client, if it is open, and forgets it. Accepts null.
void comm_socket_v4_free_client(comm_socket_v4_client* client);

// The next whole request out of what idle has read, one from each client in turn; null when there
// is none. A client for which replies wait gets no turn. Sets `client` to its sender; the caller
// releases the request when it has been answered.
comm_socket_v4_packet* comm_socket_v4_server_get_packet(comm_socket_v4* server,
                                                        comm_socket_v4_client** client);

// Waits until there is something for the next pass: a request already whole in a buffer, a client
// that can be read from or can take more of its replies, a new connection. Returns positive then, 0
// at the deadline or when a signal came, negative on an error.
int comm_socket_v4_server_from_client_readable(comm_socket_v4* server, std::uint64_t deadline_us);

// --- replies ---

// A blank packet; null when there is no memory. The caller owns it.
comm_socket_v4_packet* comm_socket_v4_packet_create();

// Frees a packet. Accepts null.
void comm_socket_v4_packet_release(comm_socket_v4_packet* packet);

// Starts a reply with its two words, dropping whatever was written before. Flags, request id and
// result code stay as they are; set them any time before the first send. The number is unused: 0.
// Writing follows one order, which is asserted: begin, words' end, pairs and data, end.
void comm_socket_v4_packet_begin_writing(comm_socket_v4_packet* packet, int unused,
                                         const char* command, const char* status);
void comm_socket_v4_packet_write_argv_end(comm_socket_v4_packet* packet);

// Adds a pair behind the earlier ones; a name may come more than once.
void comm_socket_v4_packet_write_nv_pair(comm_socket_v4_packet* packet, const char* name,
                                         const char* value);

// Adds bytes behind the data written before.
void comm_socket_v4_packet_write_data_binary(comm_socket_v4_packet* packet, const void* bytes,
                                             std::size_t length);
void comm_socket_v4_packet_write_end(comm_socket_v4_packet* packet);

// Fills the reply to a command that nobody knows: the request's own command word and "UNKNOWN
// COMMAND", result code 1000. The flags are unused: 0.
void qxmi_default_unknown_command_error_response(const comm_socket_v4_packet* request,
                                                 comm_socket_v4_packet* reply, int flags);

// Takes a complete reply, without waiting: what the kernel does not accept at once is kept in the
// client's own output buffer, up to 16 MiB, and delivered by comm_socket_v4_idle. Positive: the
// reply was taken. 0: the buffer has no room now; call again with the same packet. Negative: it
// will never be sent, because the client is gone, or because the reply breaks a limit and the
// connection was closed. All output buffers together take at most 64 MiB; beyond that the client
// that has read nothing for longest is closed.
int comm_socket_v4_packet_send_to_client(comm_socket_v4_client* client,
                                         comm_socket_v4_packet* packet);

// Waits until the client can take more data. Returns positive when it is worth trying (also for a
// client that is gone), 0 at the deadline or when a signal came, negative on an error.
int comm_socket_v4_wait_for_server_to_client_writeable(comm_socket_v4_client* client,
                                                       std::uint64_t deadline_us);
