// Runs a function of this program in a process of its own that is confined, for libraries that read
// files that strangers made.
#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "tools/media/sandbox.h"

// Has `work` run in a child that is confined to `limits`, with no other descriptors than theirs;
// standard input, output and errors are /dev/null. Puts what it returns, of which 4 KiB are kept,
// into `answer`. This process must have one thread. Obeys the tool's signals: the child is stopped
// while the tool is suspended, and that time does not count against `time_limit`. False with the
// cause in `error`.
bool call_confined(const sandbox& limits, std::chrono::milliseconds time_limit,
                   const std::function<std::string()>& work, std::string& answer,
                   std::string& error);
