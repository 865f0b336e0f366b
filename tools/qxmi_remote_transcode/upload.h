// Sends one file to the transcode server. Blocks for as long as that takes, which may be hours.
#pragma once

#include <string>

class transcode_settings;

// Uploads `file` under `name`, which is_upload_name() must accept, to the server of `settings`.
// Until the upload is complete it has a longer name; an interrupted upload is resumed. Returns the
// tool's exit status; a failure has been reported under the name `tool`.
int upload(const std::string& tool, const class transcode_settings& settings,
           const std::string& name, const std::string& file);
