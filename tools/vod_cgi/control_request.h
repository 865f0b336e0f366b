// The command and the pairs of an HTTP request from another server.
#pragma once

#include <string>

#include "tools/client/vod_service.h"

// Where the other server's uploads land; "*name" in a request is a file there.
constexpr char upload_directory[] = "/mnt/main/tv/upload/";

// The command that a query asks for: exactly "c=vodsrv" and "vc=COMMAND" with one of the commands
// that may be given from afar. "" for any other query.
std::string command_of_query(const std::string& query);

// Reads the body into pairs: lines "name:value" up to an empty line or the end. "*name:UUID"
// becomes the pair "input file" with the uploaded file's path. False, with the cause in `error`,
// for a line without a colon, an empty name, a control character, or a "*name" that is not the 36
// characters of a UUID.
bool read_pairs(const std::string& body, name_values& pairs, std::string& error);

// The path of the upload that a request names, "" when it names none.
std::string uploaded_file(const name_values& pairs);
