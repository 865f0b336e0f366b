// The server side of the control socket: a local stream socket that serves packets
// (comm_packet_v4.h) to many clients from one thread. Reading is bounded per round, and nothing
// blocks except comm_socket_v4_destroy and the functions with a deadline. Deadlines are on
// monotonic_clock_us().
//
// One pass of the server's loop: idle, then accept_connection until null, then
// get_disconnected_client until null (free each), then server_get_packet until null (answer and
// release each).
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/comm_packet_v4.h"

struct comm_socket_v4;
struct comm_socket_v4_client;

// --- the server ---

// Creates a server that is not listening yet. Returns null if out of memory. The caller owns it.
comm_socket_v4* comm_socket_v4_create();

// Closes the listening socket, removes the socket file if it is still the one that this server
// made, delivers pending replies for 5 s at most (see comm_socket_v4_deliver), closes every client,
// and returns null. Accepts null. Every client handed out becomes invalid; requests stay valid and
// must still be released.
comm_socket_v4* comm_socket_v4_destroy(comm_socket_v4* server);

// Binds to `path` and listens. A socket file that nobody listens on is removed first; a socket in
// use, or a file of another kind, is left alone and makes the call fail (EADDRINUSE). The file's
// mode follows the umask. Returns 0, or negative with errno set. May be called only once per
// server.
int comm_socket_v4_create_server(comm_socket_v4* server, const char* path);

// Returns the listening descriptor, for polling; -1 if the server is not listening or is null.
int comm_socket_v4_fd(const comm_socket_v4* server);

// Does one bounded round of socket work: accepts new connections, reads at most 64 KiB from each
// client, and sends pending replies. A client is not read from while its last request has not been
// handed out or while replies to it are pending. A client that has not finished a request 30 s
// after its first bytes, or has accepted none of its pending replies for 5 s, is closed. All input
// buffers together take at most 32 MiB; beyond that, clients whose requests have been unfinished
// the longest are closed. Returns 0, or negative if the server is not listening or its listening
// socket is broken.
int comm_socket_v4_idle(comm_socket_v4* server);

// Returns the next client that idle has accepted, or null. The server owns it; the pointer is valid
// until comm_socket_v4_free_client.
comm_socket_v4_client* comm_socket_v4_accept_connection(comm_socket_v4* server);

// Returns the next client that has gone, each one once, or null; the caller frees it. A client that
// closed only its sending side, or sent something malformed, counts as gone once every request
// received whole before that has been handed out and released. Only clients that accept_connection
// has returned are reported here.
comm_socket_v4_client* comm_socket_v4_get_disconnected_client(comm_socket_v4* server);

// Closes the client if it is still open, and frees it. Accepts null.
void comm_socket_v4_free_client(comm_socket_v4_client* client);

// Returns the next whole request that idle has read, one from each client in turn, or null if there
// is none. Clients with pending replies are skipped. Sets `client` to the sender; the caller
// releases the request once it has been answered.
comm_socket_v4_packet* comm_socket_v4_server_get_packet(comm_socket_v4* server,
                                                        comm_socket_v4_client** client);

// Waits until the next pass has work to do: a whole request in a buffer, a client that can be read
// from or can accept more of its replies, or a new connection. Returns positive if there is work, 0
// at the deadline or if a signal arrived, negative on an error.
int comm_socket_v4_server_from_client_readable(comm_socket_v4* server, std::uint64_t deadline_us);

// --- replies ---

// Creates a blank packet. Returns null if out of memory. The caller owns it.
comm_socket_v4_packet* comm_socket_v4_packet_create();

// Frees a packet. Accepts null.
void comm_socket_v4_packet_release(comm_socket_v4_packet* packet);

// Starts a reply with its two words, discarding anything written before. Flags, request id and
// result code are left alone; set them any time before the first send. `unused` should be 0. The
// order of writing is asserted: begin, end of words, pairs and data, end.
void comm_socket_v4_packet_begin_writing(comm_socket_v4_packet* packet, int unused,
                                         const char* command, const char* status);
void comm_socket_v4_packet_write_argv_end(comm_socket_v4_packet* packet);

// Appends a pair. The same name may be used more than once.
void comm_socket_v4_packet_write_nv_pair(comm_socket_v4_packet* packet, const char* name,
                                         const char* value);

// Appends bytes to the data written so far.
void comm_socket_v4_packet_write_data_binary(comm_socket_v4_packet* packet, const void* bytes,
                                             std::size_t length);
void comm_socket_v4_packet_write_end(comm_socket_v4_packet* packet);

// Fills in the reply to an unknown command: the request's own command word and "UNKNOWN COMMAND",
// with result code 1000. `flags` is unused and should be 0.
void qxmi_default_unknown_command_error_response(const comm_socket_v4_packet* request,
                                                 comm_socket_v4_packet* reply, int flags);

// Accepts a complete reply without waiting: anything that the kernel does not take at once is kept
// in the client's output buffer and sent by comm_socket_v4_idle. While the client's next request
// has already arrived, a short reply is kept too, to be sent together with the next one: until the
// first call of comm_socket_v4_server_get_packet that comes 1 ms later or returns null. The buffer
// has room for 16 KiB of such replies and the largest reply, so one that answers the request that
// was handed out last always fits. Returns positive if the reply was accepted, which does not mean
// that it arrives: the client may go before it is sent; 0 if the buffer has no room now (call again
// with the same packet); negative if the reply will never be sent, because the client is gone or
// because the reply exceeds a limit and the connection was closed. All output buffers together take
// at most 64 MiB; beyond that, clients that have gone the longest without reading are closed.
int comm_socket_v4_packet_send_to_client(comm_socket_v4_client* client,
                                         comm_socket_v4_packet* packet);

// Delivers pending replies as their clients read them, until none is left or the deadline; nothing
// is read and nobody is accepted meanwhile. A client that accepts none of its replies for 2 s of
// this time is closed. Accepts null.
void comm_socket_v4_deliver(comm_socket_v4* server, std::uint64_t deadline_us);

// Ends the connection to a client whose request cannot be answered.
void comm_socket_v4_drop_client(comm_socket_v4_client* client);

// Whether replies to the client can still arrive. False once one could not be sent because the
// client has gone; its requests that had arrived before are handed out nevertheless.
bool comm_socket_v4_client_takes_replies(const comm_socket_v4_client* client);

// Waits until the client can accept more data. Returns positive if sending is worth trying (also if
// the client is gone), 0 at the deadline or if a signal arrived, negative on an error.
int comm_socket_v4_wait_for_server_to_client_writeable(comm_socket_v4_client* client,
                                                       std::uint64_t deadline_us);
