// The programs that the service starts.
#pragma once

#include "tools/qx_vod_ctl/doctor/finding.h"

// Looks at each: there, executable, and nobody but root able to change what the service runs as
// root. With `remote` at those too that a transcode on another server needs.
finding_list check_programs(bool remote);

// Looks at one; `purpose` tells what is lost without it.
finding check_program(const std::string& path, const std::string& purpose);
