// The control socket: receives requests, dispatches them, sends replies.
#pragma once

struct comm_socket_v4;

// The server end of the control socket; null before start-up and after shutdown.
extern comm_socket_v4* server_socket;

// Carries out and answers all requests that clients have sent. 0 if nothing is left pending, -1 if
// there is no server or its socket failed.
int handle_server_socket();
