// What a node of a cluster does: makes the segments of one range for a tool on another machine.
#pragma once

#include <cstdint>
#include <string>

// The exit status of a task that cannot work on this node: it does not see the folder, or sees
// another source, or its engine would make other segments than the tool's.
constexpr int exit_refused = 75;

// Makes the segments of task `task` that are missing in `folder`, as the note in it says. Ends
// early if the tool has gone. Returns the exit status; why it is not 0 stands in the folder.
int make_range(const std::string& folder, std::int64_t task);
