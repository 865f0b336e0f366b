// The control socket: takes requests, has them carried out, sends the replies.
#pragma once

struct comm_socket_v4;

// The server's end of the control socket; null before start-up and after shutdown.
extern comm_socket_v4* server_socket;

// Carries out and answers everything that clients have sent. 0 when nothing is left pending, -1
// when there is no server or its socket failed.
int handle_server_socket();
