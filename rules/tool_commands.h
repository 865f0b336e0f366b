// The programs that the service starts, and their command lines; those of the transcoder are in
// rules/transcoder_contract.h.
#pragma once

#include <string>
#include <vector>

constexpr char identifier_program[] = "/usr/bin/qxmi_startitem";
constexpr char thumbnail_program[] = "/usr/bin/qxmi_grab";
constexpr char removal_program[] = "/bin/rm";
constexpr char upload_program[] = "/usr/bin/qxmi_remote_transcode";
constexpr char http_client_program[] = "/usr/bin/curl";
constexpr char download_program[] = "/usr/bin/wget";
constexpr char ftp_client_program[] = "/usr/bin/ncftpput";  // started by the upload program

// Identifies a media file and writes its metadata.
std::vector<std::string> identify_command(const std::string& file);

// Makes the thumbnail `picture` of a source. The profile's name is given as the height.
std::vector<std::string> thumbnail_command(const std::string& profile, const std::string& picture,
                                           const std::string& source);

// Removes a directory with everything in it.
std::vector<std::string> removal_command(const std::string& directory);

// Sends a source to the remote server under the job's name.
std::vector<std::string> upload_command(const std::string& name, const std::string& source);

// Posts what the HTTP client reads from its standard input to the URL that has to follow; `login`
// is the user name, a colon and the password.
std::vector<std::string> request_command(const std::string& login);

// Where the gateway of the server at `address` takes a command (rules/control_words.h).
std::string gateway_url(const std::string& address, const std::string& command);

struct download_order {
  std::string output;  // path here
  std::string user;
  std::string password;
  std::string address;     // of the remote server
  std::string far_output;  // path over there
};

// Fetches a finished output, and continues one of which a part has come before.
std::vector<std::string> download_command(const download_order& order);
