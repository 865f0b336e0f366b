// The programs that the service starts.
#pragma once

#include "tools/qx_vod_ctl/doctor/finding.h"

// Checks that each program exists, is executable, and cannot be changed by users other than root if
// the service runs it as root. With `remote` also the programs for remote transcodes.
finding_list check_programs(bool remote);

// Checks one; `purpose` says what does not work without it.
finding check_program(const std::string& path, const std::string& purpose);
