// From an HTTP request to a request on the control socket.
#pragma once

#include <string>

#include "platform/comm_packet_v4.h"

// Where the other server's uploads land; "*name" in a request is a file there.
constexpr char upload_directory[] = "/mnt/main/tv/upload/";

// The command that a query asks for: exactly "c=vodsrv" and "vc=COMMAND" with one of the commands
// that may be given from afar. "" for any other query.
std::string command_of_query(const std::string& query);

// Fills the packet with the command and the pairs of the body: lines "name:value" up to an empty
// line or the end. "*name:UUID" becomes the pair "input file" with the uploaded file's path. False,
// with what is wrong in `error`, for a line without a colon, an empty name, a control character, or
// a "*name" that is not the 36 characters of a UUID.
bool fill_request(const std::string& command, const std::string& body,
                  comm_socket_v4_packet& packet, std::string& error);

// The path of the upload that a request names, "" when it names none.
std::string uploaded_file(const comm_socket_v4_packet& request);
