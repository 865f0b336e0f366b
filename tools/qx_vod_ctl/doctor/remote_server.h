// Tests the remote server from this machine.
#pragma once

#include "tools/media/process_runner.h"
#include "tools/qx_vod_ctl/doctor/finding.h"

class transcode_settings;

// Asks the remote server's gateway for an item that does not exist, and logs in to its FTP server,
// with the name and the password that the service uses. A connection may take 3 s, an answer 5 s.
// The password does not appear on a command line or in a finding.
finding_list check_remote_server(const class transcode_settings& settings);

// The file that hands name and password to the HTTP client.
std::string client_configuration(const class transcode_settings& settings);

// Judge the HTTP client's output for the gateway and for the FTP server. The answer is followed by
// a line with the marker and the seconds that the connection took.
constexpr const char* connect_marker = "connected after ";
finding judge_gateway(const program_result& result, const std::string& address);
finding judge_ftp_server(const program_result& result, const std::string& address);
