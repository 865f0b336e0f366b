// The versions of the programs involved.
#pragma once

#include <json11.hpp>

// Versions of client, service, ffmpeg, kernel and distribution; in place of an unknown one, the
// reason. Runs ffmpeg and the package manager's query.
json11::Json versions_of_machine();
