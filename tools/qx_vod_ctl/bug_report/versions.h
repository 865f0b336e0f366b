// What runs on this machine.
#pragma once

#include <json11.hpp>

// Versions of client, service, ffmpeg, kernel and distribution, each with the reason in its place
// where it cannot be told. Runs ffmpeg and the package manager's query.
json11::Json versions_of_machine();
