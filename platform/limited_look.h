// Looks at file systems that may never answer, in a helper process and with a time limit.
//
// Each mount has one helper at a time, which is waited for until it has run for 50 ms. One that has
// not answered by then is left, because nothing can end a process that waits for such a file
// system; until it ends by itself, every other question about that mount is refused at once. How
// much time may be lost to mounts that do not answer, see platform/waiting_allowance.h.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "platform/mount_table.h"

// Called in the helper, a forked copy of this process without its descriptors. The result must not
// be empty.
using look_function = std::function<std::string()>;

// Calls `look` in a helper and returns its result, or nothing if the mount has not answered yet.
// A result that comes late is kept for a second: repeat the call with the same `question` to get
// it.
std::optional<std::string> look_within_limit(const mount_point& mount, const std::string& question,
                                             const look_function& look);

// The time that all calls of look_within_limit() have taken so far, in microseconds.
std::uint64_t duration_of_looks_us();

// Collects helpers that have ended, and reports on standard error which mounts do not answer and
// which do again. Call it regularly; it costs nothing if no helper is running.
void collect_late_looks();

// True if the report says that this mount does not answer: a helper has waited for it for a second.
bool is_reported_silent(const mount_point& mount);

// Forgets the late answer to a question, which has become wrong.
void forget_late_look(const std::string& question);
